#include "platform/linux/devices/inf.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry_store.h"
#include "platform/linux/files/profile_file.h"
#include "platform/linux/machine.h"

namespace {

using korvex::platform::FindValue;
using korvex::platform::ProfileDocument;

// The comma-separated field of an INF value, without blanks around it.
std::u16string Field(std::u16string_view value, size_t index)
{
    for (; index > 0; --index) {
        const size_t comma = value.find(u',');
        value
            = comma == std::u16string_view::npos ? std::u16string_view{} : value.substr(comma + 1);
    }
    value = value.substr(0, value.find(u','));
    const size_t first = value.find_first_not_of(u" \t");
    const size_t last = value.find_last_not_of(u" \t");
    return first == std::u16string_view::npos
        ? std::u16string{}
        : std::u16string(value.substr(first, last - first + 1));
}

// 0 to 4, how a restart is asked for, or that much more than 128, where the source path is the
// INF's folder.
bool IsKnownMode(std::u16string_view mode)
{
    constexpr std::array MODES{
        u"0", u"1", u"2", u"3", u"4", u"128", u"129", u"130", u"131", u"132"};
    return std::find(MODES.begin(), MODES.end(), mode) != MODES.end();
}

// A file's place below the Windows folder; the directory identifiers 10 (Windows), 11 (system) and
// 12 (drivers) may stand in front.
std::u16string ResolveBinary(std::u16string path)
{
    for (const auto& [mark, folder] : {std::pair(u"%10%\\", u""),
             std::pair(u"%11%\\", u"system32\\"), std::pair(u"%12%\\", u"system32\\drivers\\")}) {
        if (path.starts_with(mark))
            return folder + path.substr(std::u16string_view(mark).size());
    }
    return path;
}

void InstallService(const ProfileDocument* inf, const std::filesystem::path& infFolder,
    std::u16string_view service, std::u16string_view section)
{
    namespace fs = std::filesystem;
    const std::optional<std::u16string> binary = FindValue(inf, section, u"ServiceBinary");
    if (!binary || service.empty())
        return;
    const std::u16string place = ResolveBinary(*binary);
    const fs::path relative = fs::path(korvex::platform::ToNativePath(place)).lexically_normal();
    if (relative.is_absolute() || relative.empty() || *relative.begin() == "..")
        return; // outside the Windows folder
    const fs::path target = fs::path(korvex::platform::ThisMachine()->folders.windows) / relative;
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    const fs::path source = infFolder / target.filename();
    if (fs::is_regular_file(source, error)) {
        fs::remove(target, error); // replaces a link, not its target
        fs::copy_file(source, target, error);
    }

    korvex::platform::WriteRegistryText(
        korvex::platform::ServiceKeyPath(service), u"ImagePath", place);
}

} // namespace

void InstallHinfSectionW(HWND /*window*/, HMODULE /*instance*/, LPCWSTR command, int /*show*/)
{
    const std::u16string_view text = command;
    const size_t sectionEnd = text.find(u' ');
    const size_t modeEnd
        = sectionEnd == std::u16string_view::npos ? sectionEnd : text.find(u' ', sectionEnd + 1);
    if (modeEnd == std::u16string_view::npos)
        return;
    const std::u16string section(text.substr(0, sectionEnd));
    if (!IsKnownMode(text.substr(sectionEnd + 1, modeEnd - sectionEnd - 1)))
        return;
    const std::string path = korvex::platform::ToNativePath(text.substr(modeEnd + 1));
    ProfileDocument inf;
    korvex::platform::ReadProfile(path, &inf);
    for (const std::u16string& name : {section, section + u".Services"}) {
        if (const std::optional<std::u16string> service = FindValue(&inf, name, u"AddService"))
            InstallService(&inf, std::filesystem::path(path).parent_path(), Field(*service, 0),
                Field(*service, 2));
    }
}
