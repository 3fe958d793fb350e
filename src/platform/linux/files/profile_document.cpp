#include "platform/linux/files/profile_document.h"

#include <cstddef>
#include <cstdint>

#include "platform/linux/core/text.h"

namespace korvex::platform {

namespace {

constexpr std::string_view UTF_8_MARK = "\xEF\xBB\xBF";
constexpr std::string_view UTF_16_LITTLE_ENDIAN_MARK = "\xFF\xFE";
constexpr std::string_view UTF_16_BIG_ENDIAN_MARK = "\xFE\xFF";

bool IsBlank(char16_t unit)
{
    return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n';
}

std::u16string_view Unquote(std::u16string_view value)
{
    const bool quoted = value.size() >= 2 && value.front() == value.back()
        && (value.front() == u'"' || value.front() == u'\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

// The name when the line is a section's heading.
std::optional<std::u16string_view> SectionName(std::u16string_view line)
{
    while (!line.empty() && IsBlank(line.front()))
        line.remove_prefix(1);
    if (line.empty() || line.front() != u'[')
        return std::nullopt;
    const size_t end = line.find(u']');
    return end == std::u16string_view::npos ? std::nullopt
                                            : std::optional(Trim(line.substr(1, end - 1)));
}

bool IsComment(std::u16string_view line)
{
    line = Trim(line);
    return !line.empty() && line.front() == u';';
}

// The place of a key, or where it would be inserted.
struct Place {
    bool sectionFound = false;
    size_t lastEntry = 0; // one past the section's last line that is not blank
    std::optional<size_t> keyLine;
    std::u16string_view value;
};

Place FindKey(const ProfileDocument* profile, std::u16string_view section, std::u16string_view key)
{
    Place place;
    for (size_t i = 0; i < profile->lines.size(); ++i) {
        const std::u16string_view line = profile->lines[i];
        const std::optional<std::u16string_view> name = SectionName(line);
        if (name && place.sectionFound)
            break;
        if (name && EqualNoCase(*name, section)) {
            place.sectionFound = true;
            place.lastEntry = i + 1;
            continue;
        }
        if (!place.sectionFound)
            continue;
        if (!Trim(line).empty())
            place.lastEntry = i + 1;
        const size_t equals = line.find(u'=');
        const bool matches = !place.keyLine && !IsComment(line)
            && equals != std::u16string_view::npos
            && EqualNoCase(Trim(line.substr(0, equals)), key);
        if (matches) {
            place.keyLine = i;
            place.value = Unquote(Trim(line.substr(equals + 1)));
        }
    }
    return place;
}

std::u16string Decode(std::string_view content, Encoding* encoding)
{
    const auto starts
        = [content](std::string_view mark) { return content.substr(0, mark.size()) == mark; };
    if (!starts(UTF_16_LITTLE_ENDIAN_MARK) && !starts(UTF_16_BIG_ENDIAN_MARK)) {
        const bool marked = starts(UTF_8_MARK);
        *encoding = marked ? Encoding::UTF_8_BOM : Encoding::UTF_8;
        return FromUtf8(marked ? content.substr(UTF_8_MARK.size()) : content);
    }
    const bool bigEndian = starts(UTF_16_BIG_ENDIAN_MARK);
    *encoding = bigEndian ? Encoding::UTF_16_BIG_ENDIAN : Encoding::UTF_16_LITTLE_ENDIAN;
    std::u16string text;
    for (size_t i = 2; i + 1 < content.size(); i += 2) {
        const auto first = static_cast<uint8_t>(content[i]);
        const auto second = static_cast<uint8_t>(content[i + 1]);
        text.push_back(
            static_cast<char16_t>(bigEndian ? (first << 8) | second : (second << 8) | first));
    }
    return text;
}

// New lines end as the first one does.
std::u16string LineEndOf(const ProfileDocument* profile)
{
    return !profile->lines.empty() && profile->lines.front().ends_with(u"\r\n") ? u"\r\n" : u"\n";
}

void EndLastLine(ProfileDocument* profile, const std::u16string& lineEnd)
{
    if (!profile->lines.empty() && !profile->lines.back().ends_with(u'\n'))
        profile->lines.back() += lineEnd;
}

} // namespace

std::u16string_view Trim(std::u16string_view text)
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

ProfileDocument ParseProfile(std::string_view content)
{
    ProfileDocument profile;
    const std::u16string text = Decode(content, &profile.encoding);
    for (size_t start = 0; start < text.size();) {
        const size_t lineFeed = text.find(u'\n', start);
        const size_t end = lineFeed == std::u16string::npos ? text.size() : lineFeed + 1;
        profile.lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return profile;
}

std::string FormatProfile(const ProfileDocument* profile)
{
    std::u16string text;
    for (const std::u16string& line : profile->lines)
        text += line;
    if (profile->encoding == Encoding::UTF_8)
        return ToUtf8(text);
    if (profile->encoding == Encoding::UTF_8_BOM)
        return std::string(UTF_8_MARK) + ToUtf8(text);
    const bool bigEndian = profile->encoding == Encoding::UTF_16_BIG_ENDIAN;
    std::string content(bigEndian ? UTF_16_BIG_ENDIAN_MARK : UTF_16_LITTLE_ENDIAN_MARK);
    for (const char16_t unit : text) {
        const auto high = static_cast<char>(unit >> 8);
        const auto low = static_cast<char>(unit & 0xFF);
        content.push_back(bigEndian ? high : low);
        content.push_back(bigEndian ? low : high);
    }
    return content;
}

std::optional<std::u16string> FindValue(
    const ProfileDocument* profile, std::u16string_view section, std::u16string_view key)
{
    const Place place = FindKey(profile, section, key);
    return place.keyLine ? std::optional<std::u16string>(place.value) : std::nullopt;
}

void SetValue(ProfileDocument* profile, std::u16string_view section, std::u16string_view key,
    const WCHAR* value)
{
    std::vector<std::u16string>* lines = &profile->lines;
    const std::u16string lineEnd = LineEndOf(profile);
    const Place place = FindKey(profile, section, key);
    if (value == nullptr) {
        if (place.keyLine)
            lines->erase(lines->begin() + static_cast<ptrdiff_t>(*place.keyLine));
        return;
    }
    const std::u16string entry = std::u16string(key) + u"=" + value + lineEnd;
    if (place.keyLine) {
        (*lines)[*place.keyLine] = entry;
        return;
    }
    EndLastLine(profile, lineEnd);
    if (!place.sectionFound)
        AddSection(profile, section);
    const size_t position = place.sectionFound ? place.lastEntry : lines->size();
    lines->insert(lines->begin() + static_cast<ptrdiff_t>(position), entry);
}

void AddSection(ProfileDocument* profile, std::u16string_view section)
{
    if (FindKey(profile, section, u"").sectionFound)
        return;
    const std::u16string lineEnd = LineEndOf(profile);
    EndLastLine(profile, lineEnd);
    profile->lines.push_back(std::u16string(u"[").append(section).append(u"]").append(lineEnd));
}

void RemoveSection(ProfileDocument* profile, std::u16string_view section)
{
    bool inside = false;
    const auto belongs = [&inside, section](const std::u16string& line) {
        if (const std::optional<std::u16string_view> name = SectionName(line))
            inside = EqualNoCase(*name, section);
        return inside;
    };
    std::erase_if(profile->lines, belongs);
}

std::vector<std::u16string> SectionNames(const ProfileDocument* profile)
{
    std::vector<std::u16string> names;
    for (const std::u16string& line : profile->lines) {
        if (const std::optional<std::u16string_view> name = SectionName(line))
            names.emplace_back(*name);
    }
    return names;
}

} // namespace korvex::platform
