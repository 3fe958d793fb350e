#include "platform/linux/devices/registry_store.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <system_error>

#include "platform/linux/core/text.h"
#include "platform/linux/files/profile_file.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

// How values look in the file.
constexpr std::u16string_view STRING_MARK = u"sz:\"";
constexpr std::u16string_view NUMBER_MARK = u"dword:";
constexpr std::u16string_view BYTES_MARK = u"hex:";

std::string RegistryFile()
{
    const std::string& folder = ThisMachine()->folders.state;
    return folder.empty() ? "" : folder + "/registry.ini";
}

ProfileDocument ReadRegistry()
{
    ProfileDocument registry;
    ReadProfile(RegistryFile(), &registry);
    return registry;
}

std::u16string HexText(const BYTE* data, size_t size)
{
    std::u16string text;
    for (size_t i = 0; i < size; ++i) {
        std::array<char, 4> digits{};
        snprintf(digits.data(), digits.size(), "%02x", data[i]);
        text += FromUtf8(digits.data());
    }
    return text;
}

// A value's text in the file.
std::u16string LineText(const RegistryValue* value)
{
    if (value->type == REG_SZ) {
        std::u16string text(value->data.size() / sizeof(WCHAR), u'\0');
        memcpy(text.data(), value->data.data(), text.size() * sizeof(WCHAR));
        return std::u16string(STRING_MARK) + text.substr(0, text.find(u'\0')) + u"\"";
    }
    if (value->type == REG_DWORD && value->data.size() == sizeof(DWORD)) {
        DWORD number = 0;
        memcpy(&number, value->data.data(), sizeof(number));
        std::array<char, 12> digits{};
        snprintf(digits.data(), digits.size(), "%08x", number);
        return std::u16string(NUMBER_MARK) + FromUtf8(digits.data());
    }
    return std::u16string(BYTES_MARK) + HexText(value->data.data(), value->data.size());
}

template <typename T>
RegistryValue ValueOf(DWORD type, const T* data, size_t count)
{
    RegistryValue value{type, std::vector<BYTE>(count * sizeof(T))};
    if (count > 0)
        memcpy(value.data.data(), data, value.data.size());
    return value;
}

RegistryValue TextValue(std::u16string_view text)
{
    const std::u16string content(text);
    return ValueOf(REG_SZ, content.c_str(), content.size() + 1);
}

std::optional<unsigned> HexNumber(std::u16string_view text)
{
    const std::string digits = ToUtf8(text);
    const char* end = digits.data() + digits.size();
    unsigned number = 0;
    const auto [rest, error] = std::from_chars(digits.data(), end, number, 16);
    return error == std::errc{} && rest == end ? std::optional(number) : std::nullopt;
}

// The value that a text stands for; none for a text that was changed by hand beyond recognition.
std::optional<RegistryValue> ParseValue(std::u16string_view text)
{
    if (text.starts_with(STRING_MARK) && text.ends_with(u'"') && text.size() > STRING_MARK.size()) {
        return TextValue(text.substr(STRING_MARK.size(), text.size() - STRING_MARK.size() - 1));
    }
    if (text.starts_with(NUMBER_MARK)) {
        const std::optional<unsigned> number = HexNumber(text.substr(NUMBER_MARK.size()));
        return number ? std::optional(ValueOf(REG_DWORD, &*number, 1)) : std::nullopt;
    }
    if (!text.starts_with(BYTES_MARK))
        return std::nullopt;
    std::vector<BYTE> bytes;
    for (text.remove_prefix(BYTES_MARK.size()); !text.empty(); text.remove_prefix(2)) {
        const std::optional<unsigned> byte = HexNumber(text.substr(0, 2));
        if (!byte || text.size() < 2)
            return std::nullopt;
        bytes.push_back(static_cast<BYTE>(*byte));
    }
    return ValueOf(REG_BINARY, bytes.data(), bytes.size());
}

// Values that are not kept in the file: they end with the process.
struct VolatileTexts {
    std::mutex mutex;                               // guards the rest
    std::map<std::u16string, std::u16string> texts; // by key's path and name, in one case
};

VolatileTexts* Volatile()
{
    static VolatileTexts texts;
    return &texts;
}

std::u16string VolatileName(std::u16string_view path, std::u16string_view name)
{
    return FoldCase(std::u16string(path).append(u"\\").append(name));
}

} // namespace

bool IsRegistryWritable()
{
    return !RegistryFile().empty() && CanChangeWholeFile(RegistryFile());
}

bool RegistryKeyExists(std::u16string_view path)
{
    const ProfileDocument registry = ReadRegistry();
    const std::vector<std::u16string> names = SectionNames(&registry);
    return std::any_of(names.begin(), names.end(), [path](const std::u16string& name) {
        const std::u16string_view start = std::u16string_view(name).substr(0, path.size());
        return EqualNoCase(start, path)
            && (name.size() == path.size() || name[path.size()] == u'\\');
    });
}

std::optional<RegistryValue> ReadRegistryValue(std::u16string_view path, std::u16string_view name)
{
    {
        const std::lock_guard guard(Volatile()->mutex);
        if (const auto found = Volatile()->texts.find(VolatileName(path, name));
            found != Volatile()->texts.end())
            return TextValue(found->second);
    }
    const ProfileDocument registry = ReadRegistry();
    const std::optional<std::u16string> text = FindValue(&registry, path, name);
    return text ? ParseValue(*text) : std::nullopt;
}

std::u16string ReadRegistryText(std::u16string_view path, std::u16string_view name)
{
    const std::optional<RegistryValue> value = ReadRegistryValue(path, name);
    if (!value || value->type != REG_SZ)
        return u"";
    std::u16string content(value->data.size() / sizeof(WCHAR), u'\0');
    memcpy(content.data(), value->data.data(), content.size() * sizeof(WCHAR));
    return content.substr(0, content.find(u'\0'));
}

bool WriteRegistryValues(std::u16string_view path, const std::vector<NamedValue>* values)
{
    const auto change = [path, values](ProfileDocument* registry) {
        AddSection(registry, path);
        for (const NamedValue& value : *values)
            SetValue(registry, path, value.name, LineText(&value.value).c_str());
    };
    if (RegistryFile().empty() || !UpdateProfile(RegistryFile(), change, Durability::DEFERRED))
        return false;
    const auto& told = ThisMachine()->handlers.registryWritten;
    for (const NamedValue& value : *values) {
        if (told)
            told(ToUtf8(std::u16string(path)
                    .append(u"\\")
                    .append(value.name)
                    .append(u"=")
                    .append(LineText(&value.value))));
    }
    return true;
}

bool WriteRegistryText(std::u16string_view path, std::u16string_view name, std::u16string_view text)
{
    const std::vector<NamedValue> values{{std::u16string(name), TextValue(text)}};
    return WriteRegistryValues(path, &values);
}

bool DeleteRegistryKey(std::u16string_view path)
{
    const auto remove = [path](ProfileDocument* registry) { RemoveSection(registry, path); };
    return RegistryFile().empty() || UpdateProfile(RegistryFile(), remove, Durability::DEFERRED);
}

void SetVolatileText(std::u16string_view path, std::u16string_view name, std::u16string_view text)
{
    const std::lock_guard guard(Volatile()->mutex);
    Volatile()->texts[VolatileName(path, name)] = text;
}

void ClearVolatileTexts()
{
    const std::lock_guard guard(Volatile()->mutex);
    Volatile()->texts.clear();
}

std::u16string ServiceKeyPath(std::u16string_view service)
{
    return u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\" + std::u16string(service);
}

} // namespace korvex::platform
