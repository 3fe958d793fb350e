#include "platform/linux/devices/registry.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/core/text.h"

struct HKEY__ {
    std::u16string path;
    DWORD access;
    bool changed;                                     // to be written when the key is closed
    std::vector<korvex::platform::NamedValue> values; // that were set through the key
};

using korvex::platform::NamedValue;
using korvex::platform::RegistryValue;

namespace {

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

// The value that was set last through the key.
NamedValue* FindPending(HKEY key, std::u16string_view name)
{
    if (IsRoot(key))
        return nullptr;
    const auto found
        = std::find_if(key->values.begin(), key->values.end(), [name](const NamedValue& value) {
              return korvex::platform::EqualNoCase(value.name, name);
          });
    return found == key->values.end() ? nullptr : &*found;
}

} // namespace

HKEY korvex::platform::OpenRegistryPath(std::u16string_view path, DWORD access)
{
    return new HKEY__{std::u16string(path), access, false, {}};
}

LONG RegCreateKeyExW(HKEY parent, LPCWSTR name, DWORD /*reserved*/, LPWSTR /*className*/,
    DWORD /*options*/, DWORD access, SECURITY_ATTRIBUTES* /*security*/, HKEY* key,
    DWORD* /*disposition*/)
{
    if (RegOpenKeyExW(parent, name, 0, access, key) == ERROR_SUCCESS)
        return ERROR_SUCCESS;
    if (!korvex::platform::IsRegistryWritable())
        return static_cast<LONG>(ERROR_ACCESS_DENIED);
    *key = korvex::platform::OpenRegistryPath(PathOf(parent) + u"\\" + name, access);
    (*key)->changed = true;
    return ERROR_SUCCESS;
}

LONG RegOpenKeyExW(HKEY parent, LPCWSTR name, DWORD /*options*/, DWORD access, HKEY* key)
{
    const std::u16string path = PathOf(parent) + u"\\" + name;
    if (!korvex::platform::RegistryKeyExists(path))
        return ERROR_FILE_NOT_FOUND;
    *key = korvex::platform::OpenRegistryPath(path, access);
    return ERROR_SUCCESS;
}

LONG RegQueryValueExW(
    HKEY key, LPCWSTR name, DWORD* /*reserved*/, DWORD* type, BYTE* data, DWORD* size)
{
    const NamedValue* pending = FindPending(key, name);
    const std::optional<RegistryValue> value = pending != nullptr
        ? std::optional(pending->value)
        : korvex::platform::ReadRegistryValue(PathOf(key), name);
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

LONG RegSetValueExW(
    HKEY key, LPCWSTR name, DWORD /*reserved*/, DWORD type, const BYTE* data, DWORD size)
{
    if ((key->access & KEY_SET_VALUE) == 0 || !korvex::platform::IsRegistryWritable())
        return static_cast<LONG>(ERROR_ACCESS_DENIED);
    const RegistryValue value{type, std::vector<BYTE>(data, data + size)};
    if (NamedValue* pending = FindPending(key, name); pending != nullptr)
        pending->value = value;
    else
        key->values.push_back({name, value});
    key->changed = true;
    return ERROR_SUCCESS;
}

LONG RegCloseKey(HKEY key)
{
    if (IsRoot(key))
        return ERROR_SUCCESS;
    const std::unique_ptr<HKEY__> owner(key);
    const bool written
        = !key->changed || korvex::platform::WriteRegistryValues(key->path, &key->values);
    return written ? ERROR_SUCCESS : static_cast<LONG>(ERROR_ACCESS_DENIED);
}
