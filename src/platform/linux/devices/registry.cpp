#include "platform/linux/devices/registry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/core/handles.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry_keys.h"
#include "platform/linux/files/profile_document.h"
#include "platform/linux/machine.h"

struct HKEY__ {
    std::u16string path;
    std::vector<std::function<void(korvex::platform::ProfileDocument*)>> changes; // made when the key is closed
};

namespace korvex::platform {

namespace {

// How values look in the file.
constexpr std::u16string_view STRING_MARK = u"sz:\"";
constexpr std::u16string_view NUMBER_MARK = u"dword:";
constexpr std::u16string_view BYTES_MARK = u"hex:";

struct Value {
    DWORD type;
    std::vector<BYTE> data;
};

std::string RegistryFile()
{
    const std::string& folder = ThisMachine()->stateFolder;
    return folder.empty() ? "" : folder + "/registry.ini";
}

bool IsRoot(HKEY key)
{
    return key == HKEY_LOCAL_MACHINE || key == HKEY_CURRENT_USER;
}

std::u16string PathOf(HKEY key)
{
    if (key == HKEY_LOCAL_MACHINE)
        return u"HKLM";
    return key == HKEY_CURRENT_USER ? u"HKCU" : key->path;
}

// Whether changes can be made at all; that the disk fills up meanwhile is not known before a key is closed.
bool IsRegistryWritable()
{
    return !RegistryFile().empty() && CanUpdateProfile(RegistryFile());
}

bool IsSameState(const struct stat* a, const struct stat* b)
{
    return a->st_dev == b->st_dev && a->st_ino == b->st_ino && a->st_size == b->st_size && a->st_mtim.tv_sec == b->st_mtim.tv_sec
        && a->st_mtim.tv_nsec == b->st_mtim.tv_nsec;
}

// The registry as it stands. It is parsed again only when the file has changed: a detecting pass looks into it a dozen times a port.
std::shared_ptr<const ProfileDocument> ReadRegistry()
{
    struct Snapshot {
        std::shared_ptr<const ProfileDocument> document = std::make_shared<ProfileDocument>();
        int descriptor = -1; // kept open, so that no newer file can have the number of this one
        struct stat status { };

        ~Snapshot()
        {
            if (descriptor >= 0)
                close(descriptor);
        }
    };
    static std::mutex mutex;
    static Snapshot snapshot;

    const std::lock_guard guard(mutex);
    const std::string path = RegistryFile();
    struct stat status { };
    if (snapshot.descriptor >= 0 && stat(path.c_str(), &status) == 0 && IsSameState(&status, &snapshot.status))
        return snapshot.document;
    if (snapshot.descriptor >= 0)
        close(snapshot.descriptor);
    snapshot.descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    auto document = std::make_shared<ProfileDocument>();
    if (snapshot.descriptor >= 0) {
        fstat(snapshot.descriptor, &snapshot.status);
        ReadProfileFrom(snapshot.descriptor, document.get());
    }
    snapshot.document = document;
    return document;
}

// The registry as the owner of a key sees it.
std::shared_ptr<const ProfileDocument> ReadRegistryThrough(HKEY key)
{
    std::shared_ptr<const ProfileDocument> registry = ReadRegistry();
    if (IsRoot(key) || key->changes.empty())
        return registry;
    auto changed = std::make_shared<ProfileDocument>(*registry);
    for (const auto& change : key->changes)
        change(changed.get());
    return changed;
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

std::u16string TextOf(DWORD type, const BYTE* data, DWORD size)
{
    if (type == REG_SZ) {
        std::u16string text(size / sizeof(WCHAR), u'\0');
        memcpy(text.data(), data, text.size() * sizeof(WCHAR));
        return std::u16string(STRING_MARK) + text.substr(0, text.find(u'\0')) + u"\"";
    }
    if (type == REG_DWORD && size == sizeof(DWORD)) {
        DWORD number = 0;
        memcpy(&number, data, sizeof(number));
        std::array<char, 12> digits{};
        snprintf(digits.data(), digits.size(), "%08x", number);
        return std::u16string(NUMBER_MARK) + FromUtf8(digits.data());
    }
    return std::u16string(BYTES_MARK) + HexText(data, size);
}

template <typename T>
Value ValueOf(DWORD type, const T* data, size_t count)
{
    Value value{type, std::vector<BYTE>(count * sizeof(T))};
    if (count > 0)
        memcpy(value.data.data(), data, value.data.size());
    return value;
}

std::optional<unsigned> HexNumber(std::u16string_view digits)
{
    unsigned number = 0;
    for (const char16_t digit : digits) {
        const size_t value
            = std::u16string_view(u"0123456789abcdef").find(static_cast<char16_t>(digit >= u'A' && digit <= u'F' ? digit + 0x20 : digit));
        if (value == std::u16string_view::npos)
            return std::nullopt;
        number = number << 4 | static_cast<unsigned>(value);
    }
    return digits.empty() || digits.size() > 8 ? std::nullopt : std::optional(number);
}

// The value that a text stands for; none for a text that was changed by hand beyond recognition.
std::optional<Value> ParseValue(std::u16string_view text)
{
    if (text.starts_with(STRING_MARK) && text.ends_with(u'"') && text.size() > STRING_MARK.size()) {
        const std::u16string content(text.substr(STRING_MARK.size(), text.size() - STRING_MARK.size() - 1));
        return ValueOf(REG_SZ, content.c_str(), content.size() + 1);
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

bool KeyExists(const ProfileDocument* registry, std::u16string_view path)
{
    const std::vector<std::u16string> names = SectionNames(registry);
    return std::any_of(names.begin(), names.end(), [path](const std::u16string& name) {
        const std::u16string_view start = std::u16string_view(name).substr(0, path.size());
        return EqualNoCase(start, path) && (name.size() == path.size() || name[path.size()] == u'\\');
    });
}

} // namespace

HKEY OpenRegistryPath(std::u16string_view path)
{
    return new HKEY__{std::u16string(path), {}};
}

std::u16string ReadRegistryText(std::u16string_view path, std::u16string_view name)
{
    const std::optional<std::u16string> text = FindValue(ReadRegistry().get(), path, name);
    const std::optional<Value> value = text ? ParseValue(*text) : std::nullopt;
    if (!value || value->type != REG_SZ)
        return u"";
    std::u16string content(value->data.size() / sizeof(WCHAR), u'\0');
    memcpy(content.data(), value->data.data(), content.size() * sizeof(WCHAR));
    return content.substr(0, content.find(u'\0'));
}

std::u16string ServiceKeyPath(std::u16string_view service)
{
    return u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\" + std::u16string(service);
}

bool DeleteRegistryPath(std::u16string_view path)
{
    const auto remove = [path](ProfileDocument* registry) { RemoveSection(registry, path); };
    return RegistryFile().empty() || UpdateProfile(RegistryFile(), remove, Durability::LATER);
}

std::vector<std::u16string> RegistryLines()
{
    return SectionLines(ReadRegistry().get());
}

} // namespace korvex::platform

using korvex::platform::ProfileDocument;

LONG RegCreateKeyExW(HKEY parent, LPCWSTR name, DWORD /*reserved*/, LPWSTR /*className*/, DWORD /*options*/, DWORD access,
    SECURITY_ATTRIBUTES* /*security*/, HKEY* key, DWORD* /*disposition*/)
{
    if (RegOpenKeyExW(parent, name, 0, access, key) == ERROR_SUCCESS)
        return ERROR_SUCCESS;
    if (!korvex::platform::IsRegistryWritable())
        return static_cast<LONG>(ERROR_ACCESS_DENIED);
    *key = korvex::platform::OpenRegistryPath(korvex::platform::PathOf(parent) + u"\\" + name);
    (*key)->changes.emplace_back([path = (*key)->path](ProfileDocument* registry) {
        if (!korvex::platform::KeyExists(registry, path))
            AddSection(registry, path);
    });
    return ERROR_SUCCESS;
}

LONG RegOpenKeyExW(HKEY parent, LPCWSTR name, DWORD /*options*/, DWORD /*access*/, HKEY* key)
{
    const std::u16string path = korvex::platform::PathOf(parent) + u"\\" + name;
    const auto registry = korvex::platform::ReadRegistryThrough(parent);
    if (!korvex::platform::KeyExists(registry.get(), path))
        return ERROR_FILE_NOT_FOUND;
    *key = korvex::platform::OpenRegistryPath(path);
    return ERROR_SUCCESS;
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* /*reserved*/, DWORD* type, BYTE* data, DWORD* size)
{
    const auto registry = korvex::platform::ReadRegistryThrough(key);
    const std::optional<std::u16string> text = korvex::platform::FindValue(registry.get(), korvex::platform::PathOf(key), name);
    const auto value = text ? korvex::platform::ParseValue(*text) : std::nullopt;
    if (!value)
        return ERROR_FILE_NOT_FOUND;
    if (type != nullptr)
        *type = value->type;
    if (size == nullptr)
        return ERROR_SUCCESS;
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(value->data.size());
    if (data == nullptr)
        return ERROR_SUCCESS;
    if (capacity < *size)
        return ERROR_MORE_DATA;
    std::copy(value->data.begin(), value->data.end(), data);
    return ERROR_SUCCESS;
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD /*reserved*/, DWORD type, const BYTE* data, DWORD size)
{
    if (!korvex::platform::IsRegistryWritable())
        return static_cast<LONG>(ERROR_ACCESS_DENIED);
    key->changes.emplace_back([path = key->path, name = std::u16string(name), text = korvex::platform::TextOf(type, data, size)](
                                  ProfileDocument* registry) { SetValue(registry, path, name, text.c_str()); });
    return ERROR_SUCCESS;
}

LONG RegCloseKey(HKEY key)
{
    if (korvex::platform::IsRoot(key))
        return ERROR_SUCCESS;
    const std::unique_ptr<HKEY__> owner(key);
    const auto makeChanges = [key](ProfileDocument* registry) {
        for (const auto& change : key->changes)
            change(registry);
    };
    const bool written = key->changes.empty()
        || korvex::platform::UpdateProfile(korvex::platform::RegistryFile(), makeChanges, korvex::platform::Durability::LATER);
    return written ? ERROR_SUCCESS : static_cast<LONG>(ERROR_ACCESS_DENIED);
}
