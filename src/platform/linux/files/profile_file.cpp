#include "platform/linux/files/profile_file.h"

#include <cerrno>
#include <optional>
#include <string_view>

namespace korvex::platform {

bool ReadProfile(const std::string& path, ProfileDocument* profile)
{
    std::string content;
    const bool read = ReadWholeFile(path, &content) || errno == ENOENT;
    *profile = ParseProfile(read ? content : "");
    return read;
}

bool UpdateProfile(const std::string& path, const std::function<void(ProfileDocument*)>& change,
    Durability durability)
{
    const auto changeContent = [&change](std::string_view content) -> std::optional<std::string> {
        ProfileDocument profile = ParseProfile(content);
        const std::vector<std::u16string> before = profile.lines;
        change(&profile);
        return profile.lines == before ? std::nullopt : std::optional(FormatProfile(&profile));
    };
    return ChangeWholeFile(path, changeContent, durability);
}

} // namespace korvex::platform
