#include "command/check/stored_calibration.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "command/check/check_settings.h"
#include "command/check/finding.h"
#include "platform/linux/files/whole_files.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

std::optional<std::string> ContentOf(const std::string& path)
{
    std::string content;
    return !path.empty() && platform::ReadWholeFile(path, &content) ? std::optional(content)
                                                                    : std::nullopt;
}

void KeepContent(const SettingsBefore* before)
{
    const std::string path = before->path + ".old";
    const auto change = [before](std::string_view /*content*/) { return before->content; };
    if (platform::ChangeWholeFile(path, change, platform::Durability::SYNCED))
        Notice("the previous calibration is kept in '" + path + "'");
    else
        Error("the previous calibration cannot be kept in '" + path + "': " + strerror(errno));
}

} // namespace

SettingsBefore LookAtSettings()
{
    SettingsBefore before;
    before.path = SettingsFilePath();
    before.content = ContentOf(before.path);
    before.savingFault = SettingsFault();
    Findings findings;
    CheckSettings(&findings);
    before.good = before.content.has_value() && !HasFault(&findings);
    return before;
}

int JudgeStored(const SettingsBefore* before)
{
    const std::optional<std::string> stored = ContentOf(before->path);
    if (!stored || stored == before->content)
        return EXIT_DONE;
    Findings findings;
    CheckSettings(&findings);
    if (!HasFault(&findings))
        return EXIT_DONE;
    for (const Finding& finding : findings) {
        if (finding.severity == Severity::FAULT)
            Error("what was stored looks wrong: " + finding.text);
    }
    if (before->good)
        KeepContent(before);
    return EXIT_FAULT;
}

} // namespace korvex::command
