#include "platform/linux/files/profile_document.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <thread>

#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/text.h"

namespace korvex::platform {

namespace {

constexpr std::string_view UTF_8_MARK = "\xEF\xBB\xBF";
constexpr std::string_view UTF_16_LITTLE_ENDIAN_MARK = "\xFF\xFE";
constexpr std::string_view UTF_16_BIG_ENDIAN_MARK = "\xFE\xFF";

// How long a write waits for another process that is writing in the same folder.
constexpr std::chrono::milliseconds LOCK_LIMIT{2000};
constexpr std::chrono::milliseconds LOCK_RETRY{5};

bool IsBlank(char16_t unit)
{
    return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n';
}

std::u16string_view Trim(std::u16string_view text)
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::u16string_view Unquote(std::u16string_view value)
{
    const bool quoted = value.size() >= 2 && value.front() == value.back() && (value.front() == u'"' || value.front() == u'\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

// The name when the line is a section's heading.
std::optional<std::u16string_view> SectionName(std::u16string_view line)
{
    line = Trim(line);
    const size_t end = line.find(u']');
    if (line.empty() || line.front() != u'[' || end == std::u16string_view::npos)
        return std::nullopt;
    return Trim(line.substr(1, end - 1));
}

bool IsComment(std::u16string_view line)
{
    line = Trim(line);
    return !line.empty() && line.front() == u';';
}

// Where a key stands, or would stand.
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
        const bool matches
            = !place.keyLine && !IsComment(line) && equals != std::u16string_view::npos && EqualNoCase(Trim(line.substr(0, equals)), key);
        if (matches) {
            place.keyLine = i;
            place.value = Unquote(Trim(line.substr(equals + 1)));
        }
    }
    return place;
}

std::u16string Decode(std::string_view content, Encoding* encoding)
{
    const auto starts = [content](std::string_view mark) { return content.substr(0, mark.size()) == mark; };
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
        text.push_back(static_cast<char16_t>(bigEndian ? (first << 8) | second : (second << 8) | first));
    }
    return text;
}

std::string Encode(const ProfileDocument* profile)
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

// The file that a path stands for, which need not exist: a symbolic link stays one, and what it points to is replaced.
std::filesystem::path FollowLinks(std::filesystem::path path)
{
    constexpr int LONGEST_CHAIN = 40; // as the kernel has it
    std::error_code error;
    for (int i = 0; i < LONGEST_CHAIN && std::filesystem::is_symlink(path, error); ++i)
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    return path;
}

// Puts `content` in the file's place: written beside it, brought to the disk where that is asked for, renamed over it. The caller holds the
// folder's lock. False with errno set; the file is then as it was.
bool ReplaceFile(const std::string& path, std::string_view content, Durability durability)
{
    struct stat status { };
    const bool exists = stat(path.c_str(), &status) == 0;
    if (exists && IsReadOnly(&status)) {
        errno = EACCES;
        return false;
    }
    std::string temporary;
    int descriptor = -1;
    for (int number = 0; descriptor < 0; ++number) {
        temporary = path + "." + std::to_string(getpid()) + "-" + std::to_string(number) + ".new";
        descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor < 0 && errno != EEXIST)
            return false;
    }
    bool written = true;
    if (exists) {
        // Only the superuser can give a file away; everyone else's new file stays their own.
        [[maybe_unused]] const int refused = fchown(descriptor, status.st_uid, status.st_gid);
        written = fchmod(descriptor, status.st_mode & 07777) == 0;
    }
    written = written && WriteWhole(descriptor, content) && (durability == Durability::DEFERRED || fsync(descriptor) == 0);
    const int writeError = errno;
    close(descriptor);
    errno = writeError;
    if (written && rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return false;
}

std::string FolderOf(const std::filesystem::path& file)
{
    return file.has_parent_path() ? file.parent_path().string() : ".";
}

// Holds the lock of a folder while it lives; `descriptor` is -1, with errno set, when it could not be had.
struct FolderLock {
    int descriptor;

    explicit FolderLock(const std::string& folder) : descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        const auto deadline = std::chrono::steady_clock::now() + LOCK_LIMIT;
        while (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
            if (errno == EWOULDBLOCK && std::chrono::steady_clock::now() < deadline) {
                std::this_thread::sleep_for(LOCK_RETRY);
                continue;
            }
            close(descriptor);
            descriptor = -1;
            errno = EBUSY;
        }
    }
    ~FolderLock()
    {
        if (descriptor >= 0)
            close(descriptor);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
};

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

bool ReadProfile(const std::string& path, ProfileDocument* profile)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return errno == ENOENT;
    const bool read = ReadProfileFrom(descriptor, profile);
    const int readError = errno;
    close(descriptor);
    errno = readError;
    return read;
}

bool ReadProfileFrom(int descriptor, ProfileDocument* profile)
{
    std::string content;
    std::string block(16384, '\0');
    ssize_t count = 0;
    while ((count = ::read(descriptor, block.data(), block.size())) != 0) {
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            break;
        content.append(block, 0, static_cast<size_t>(count));
    }
    if (count < 0)
        return false;

    const std::u16string text = Decode(content, &profile->encoding);
    for (size_t start = 0; start < text.size();) {
        const size_t lineFeed = text.find(u'\n', start);
        const size_t end = lineFeed == std::u16string::npos ? text.size() : lineFeed + 1;
        profile->lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return true;
}

std::optional<std::u16string> FindValue(const ProfileDocument* profile, std::u16string_view section, std::u16string_view key)
{
    const Place place = FindKey(profile, section, key);
    return place.keyLine ? std::optional<std::u16string>(place.value) : std::nullopt;
}

void SetValue(ProfileDocument* profile, std::u16string_view section, std::u16string_view key, const WCHAR* value)
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
    profile->lines.push_back(u"[" + std::u16string(section) + u"]" + lineEnd);
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

std::vector<std::u16string> SectionLines(const ProfileDocument* profile)
{
    std::vector<std::u16string> lines;
    std::u16string_view section;
    for (const std::u16string& line : profile->lines) {
        if (const std::optional<std::u16string_view> name = SectionName(line))
            section = *name;
        else if (!IsComment(line) && line.find(u'=') != std::u16string::npos)
            lines.push_back(std::u16string(section).append(u"\\").append(Trim(line)));
    }
    return lines;
}

bool UpdateProfile(const std::string& path, const std::function<void(ProfileDocument*)>& change, Durability durability)
{
    const std::filesystem::path target = FollowLinks(path);
    const FolderLock lock(FolderOf(target));
    ProfileDocument profile;
    if (lock.descriptor < 0 || !ReadProfile(target.string(), &profile))
        return false;
    const std::vector<std::u16string> before = profile.lines;
    change(&profile);
    if (profile.lines == before)
        return true; // nothing to write
    return ReplaceFile(target.string(), Encode(&profile), durability);
}

bool CanUpdateProfile(const std::string& path)
{
    const std::filesystem::path target = FollowLinks(path);
    struct stat status { };
    const bool readOnly = stat(target.c_str(), &status) == 0 && IsReadOnly(&status);
    return !readOnly && access(FolderOf(target).c_str(), W_OK | X_OK) == 0;
}

} // namespace korvex::platform
