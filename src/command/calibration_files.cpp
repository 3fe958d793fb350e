// `korvex calibration`: calibrations as files that can be moved to other machines.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>

#include "calibration/calibration.h"
#include "calibration/mapping.h"
#include "calibration/settings_file.h"
#include "cli/text_layout.h"
#include "command/subcommands.h"
#include "console/plausibility.h"
#include "control/calibration_json.h"
#include "control/control_client.h"
#include "machine/port_names.h"
#include "platform/linux/files/whole_files.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "runtime/calibration_fault.h"
#include "runtime/calibration_history.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

constexpr const char* NO_ANSWER
    = "its runtime does not answer; it may do what it was asked for all the same";

// A panel, in the runtime that drives it or, where none does, in its folder.
struct CalibratedPanel {
    std::string name;
    std::optional<RemotePanel> driven;
    std::string controller; // in words; empty: not known
    uint32_t resolutionBits;
    std::string file;      // the source of the calibration; empty: the controller's memory
    std::string savedFile; // written by a save
    std::chrono::system_clock::time_point changed;
    CalibrationData calibration;
    Json previous;          // calibrations that saves have replaced
    std::string exportFile; // its whole path; empty: standard output
};

// Asks the runtime for the panel's calibration; empty, or why not.
std::string ReadDriven(CalibratedPanel* panel)
{
    const PanelState& state = panel->driven->state;
    const auto answer
        = Ask(&panel->driven->runtime, {{"do", "calibration"}, {"panel", state.path}});
    if (!answer || !answer->contains("calibration"))
        return answer && answer->contains("error") ? TextIn(*answer, "error") : NO_ANSWER;
    std::string fault = ParseCalibration((*answer)["calibration"], &panel->calibration);
    panel->name = state.panel;
    panel->controller = state.controller;
    panel->resolutionBits = state.resolutionBits;
    panel->file = state.calibration.file;
    panel->savedFile = TextIn(*answer, "file");
    panel->changed = state.calibration.changed;
    panel->previous = answer->contains("previous") ? (*answer)["previous"] : Json::array();
    return fault;
}

// Reads the file in the current folder, which is the panel's; empty, or why not.
std::string ReadFolder(CalibratedPanel* panel)
{
    panel->file = panel->savedFile = SettingsFilePath();
    panel->previous = ReadCalibrationHistory().previous;
    if (!ReadCalibrationFile(&panel->calibration)) {
        std::error_code error;
        const std::string fault
            = std::filesystem::exists(panel->file, error) ? SettingsFault() : "";
        return fault.empty() ? "there is no '" + panel->file + "'" : fault;
    }
    panel->resolutionBits = ResolutionOfPoints(&panel->calibration);
    panel->changed = TimeOfChange(panel->file);
    return "";
}

std::string SourceOf(const CalibratedPanel* panel)
{
    return panel->file.empty() ? "the controller's memory" : "'" + panel->file + "'";
}

// Creates the panel's folder. The service manager gives it to the unit's user at its start.
std::string MakeFolder(const std::string& name)
{
    using std::filesystem::perms;
    std::error_code error;
    const std::string folder = FolderOfPanel(name);
    const perms ownerAndGroup = perms::owner_all | perms::group_read | perms::group_exec;
    // As systemd creates them, whatever the umask is.
    if (std::filesystem::create_directories(STATE_FOLDER, error))
        std::filesystem::permissions(
            STATE_FOLDER, ownerAndGroup | perms::others_read | perms::others_exec, error);
    if (!error && std::filesystem::create_directory(folder, error))
        std::filesystem::permissions(folder, ownerAndGroup, error);
    return error ? "'" + folder + "' cannot be made: " + error.message() : "";
}

// An exported file, read.
struct ExportedCalibration {
    CalibrationData calibration;
    uint32_t resolutionBits;
};

// CRC-32 of ITU-T V.42.
uint32_t CheckSumOf(std::string_view bytes)
{
    uint32_t sum = ~0U;
    for (const char byte : bytes) {
        sum ^= static_cast<uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1) ^ ((sum & 1U) != 0 ? 0xEDB88320U : 0);
    }
    return ~sum;
}

std::string CheckSumText(const CalibrationData* calib)
{
    return Formatted("%08x", CheckSumOf(CalibrationJson(calib).dump()));
}

// The calibration with what is derived of it.
CalibrationData Derived(const CalibrationData& calib, uint32_t resolutionBits)
{
    CalibrationData derived = calib;
    RepairCalibration(&derived, resolutionBits);
    return derived;
}

Json ExportOf(const CalibratedPanel* panel)
{
    const CalibrationData derived = Derived(panel->calibration, panel->resolutionBits);
    const PointsJudgement judgement = JudgePoints(&derived, panel->resolutionBits);
    Json residuals = Json::array();
    for (uint32_t target = 0; target < derived.pointCount; ++target)
        residuals.push_back(std::round(ResidualPercent(&judgement, target) * 100) / 100);
    return {{"korvex", KORVEX_VERSION}, {"panel", panel->name}, {"controller", panel->controller},
        {"resolutionBits", panel->resolutionBits}, {"time", TimeJson(panel->changed)},
        {"residuals", residuals}, {"calibration", CalibrationJson(&panel->calibration)},
        {"checkSum", CheckSumText(&panel->calibration)}};
}

// Reads an exported file, or standard input; empty, or what is wrong with it.
std::string ReadExport(const std::string& file, ExportedCalibration* exported)
{
    std::string content;
    if (file == "-")
        content.assign(std::istreambuf_iterator<char>(std::cin), {});
    else if (!platform::ReadWholeFile(file, &content))
        return "cannot read '" + file + "': " + strerror(errno);
    const Json json = ParseAnswer(content);
    const std::string name = file == "-" ? "standard input" : "'" + file + "'";
    if (!json.is_object() || !json.contains("calibration") || !json["calibration"].is_object())
        return name + " has no calibration as 'korvex calibration export' writes it";
    std::string fault = ParseCalibration(json["calibration"], &exported->calibration);
    if (fault.empty() && TextIn(json, "checkSum") != CheckSumText(&exported->calibration))
        fault = "its check sum is wrong: it was damaged or edited";
    exported->resolutionBits
        = NumberOf(json.value("resolutionBits", Json())).value_or(LOW_RESOLUTION_BITS)
            == static_cast<int32_t>(HIGH_RESOLUTION_BITS)
        ? HIGH_RESOLUTION_BITS
        : LOW_RESOLUTION_BITS;
    return fault.empty() ? "" : name + ": " + fault;
}

int Fail(const std::string& fault)
{
    Error(fault);
    return EXIT_FAULT;
}

void PrintJson(const Json& json)
{
    puts(json.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

int Show(const Options* options, CalibratedPanel* panel)
{
    if (options->json) {
        PrintJson(ExportOf(panel));
        return EXIT_DONE;
    }
    const CalibrationData derived = Derived(panel->calibration, panel->resolutionBits);
    const Json time = TimeJson(panel->changed);
    printf("panel        %s\ncontroller   %s\nfile         %s\ntime         %s\n",
        panel->name.c_str(), panel->controller.empty() ? "-" : panel->controller.c_str(),
        panel->file.empty() ? "-" : panel->file.c_str(),
        time.is_null() ? "-" : time.get<std::string>().c_str());
    if (MapsByPoints(&derived))
        printf("calibration  %u points, the worst %.2f %% of the screen off\n", derived.pointCount,
            WorstResidual(&derived, panel->resolutionBits));
    else
        printf("calibration  box, %d to %d by %d to %d, orientation %u\n", derived.stdMinX,
            derived.stdMaxX, derived.stdMinY, derived.stdMaxY, derived.orientation);
    printf("check sum    %s\n", CheckSumText(&panel->calibration).c_str());
    return EXIT_DONE;
}

int Export(const CalibratedPanel* panel)
{
    const std::string& file = panel->exportFile;
    if (file.empty()) {
        PrintJson(ExportOf(panel));
        return EXIT_DONE;
    }
    const std::string content = ExportOf(panel).dump(2, ' ', false, Json::error_handler_t::replace);
    const auto replace = [&content](std::string_view) { return std::optional(content + "\n"); };
    return platform::ChangeWholeFile(file, replace, platform::Durability::SYNCED)
        ? EXIT_DONE
        : Fail("cannot write '" + file + "': " + strerror(errno));
}

// Stores it through the runtime; empty, or why not.
std::string ImportDriven(CalibratedPanel* panel, const ExportedCalibration* exported)
{
    const auto answer = Ask(&panel->driven->runtime,
        {{"do", "store"}, {"panel", panel->driven->state.path},
            {"calibration", CalibrationJson(&exported->calibration)}},
        STORE_LIMIT);
    return answer ? TextIn(*answer, "error") : NO_ANSWER;
}

// Saves it in the panel's folder, judged as a runtime would; empty, or why not.
std::string ImportHere(const std::string& name, const ExportedCalibration* exported)
{
    const CalibrationData derived = Derived(exported->calibration, exported->resolutionBits);
    if (std::string fault = CalibrationFault(&derived, exported->resolutionBits); !fault.empty())
        return fault;
    const CalibrationData replaced = PreviousCalibration(&derived, exported->resolutionBits);
    if (!WriteCalibrationFile(&exported->calibration)) {
        const std::string fault = SettingsFault();
        return fault.empty() ? "'" + SettingsFilePath() + "' cannot be written" : fault;
    }
    const std::string fault = KeepPreviousCalibration(
        PANEL_FOLDER + name, &replaced, &exported->calibration, exported->resolutionBits);
    if (!fault.empty())
        Warning("the previous calibration is not kept: " + fault);
    return "";
}

int Import(CalibratedPanel* panel, const ExportedCalibration* exported)
{
    const std::string fault
        = panel->driven ? ImportDriven(panel, exported) : ImportHere(panel->name, exported);
    if (!fault.empty())
        return Fail(panel->name + ": not imported: " + fault);
    printf("%s: imported into '%s'%s\n", panel->name.c_str(), panel->savedFile.c_str(),
        panel->driven ? "; it applies now" : "");
    return EXIT_DONE;
}

int Verify(const CalibratedPanel* panel, const ExportedCalibration* exported)
{
    const Json here = CalibrationJson(&panel->calibration);
    const Json there = CalibrationJson(&exported->calibration);
    std::string differences;
    for (const auto& [key, value] : there.items()) {
        if (here[key] != value)
            differences += (differences.empty() ? "" : ", ") + key;
    }
    if (!differences.empty())
        return Fail(panel->name + ": " + SourceOf(panel) + " differs: " + differences);
    printf("%s: %s is the same\n", panel->name.c_str(), SourceOf(panel).c_str());
    return EXIT_DONE;
}

int History(const Options* options, const CalibratedPanel* panel)
{
    if (options->json) {
        PrintJson(panel->previous);
        return EXIT_DONE;
    }
    TextTable table{{"USED UNTIL", "OF", "POINTS", "WORST"}};
    for (const Json& version : panel->previous) {
        double worst = 0;
        for (const Json& residual : version["residuals"])
            worst = std::max(worst, residual.get<double>());
        table.push_back({TextIn(version, "until"), TextIn(version, "port"),
            std::to_string(version["calibration"]["points"].size()), Formatted("%.2f %%", worst)});
    }
    fputs(TextOf(&table).c_str(), stdout);
    return EXIT_DONE;
}

int Undo(CalibratedPanel* panel)
{
    std::string fault;
    if (panel->driven) {
        const std::string until
            = panel->previous.empty() ? "" : TextIn(panel->previous[0], "until");
        const auto answer = Ask(&panel->driven->runtime,
            {{"do", "undo"}, {"panel", panel->driven->state.path}, {"until", until}}, STORE_LIMIT);
        fault = answer ? TextIn(*answer, "error") : NO_ANSWER;
    } else {
        CalibrationData restored{};
        fault = UndoSave(PANEL_FOLDER + panel->name, "", &restored);
    }
    if (!fault.empty())
        return Fail(panel->name + ": not undone: " + fault);
    printf("%s: the last save in '%s' is undone\n", panel->name.c_str(), panel->savedFile.c_str());
    return EXIT_DONE;
}

int CarryOut(const Options* options, const std::string& action, CalibratedPanel* panel,
    const ExportedCalibration* exported)
{
    const bool isTried = panel->driven && panel->driven->state.calibration.tried;
    if (isTried && (action == "export" || action == "verify"))
        return Fail(panel->name + ": a client is trying a calibration that is not saved");
    if (action == "show")
        return Show(options, panel);
    if (action == "export")
        return Export(panel);
    if (action == "import")
        return Import(panel, exported);
    if (action == "verify")
        return Verify(panel, exported);
    return action == "history" ? History(options, panel) : Undo(panel);
}

} // namespace

int RunCalibrationFiles(const Options* options)
{
    const std::string& action = options->arguments[0];
    const std::string& name = options->arguments[1];
    const bool reads = action == "import" || action == "verify";
    ExportedCalibration exported{};
    const std::string file = options->arguments.size() > 2 ? options->arguments[2] : "-";
    if (reads) {
        if (const std::string fault = ReadExport(file, &exported); !fault.empty())
            return Fail(fault);
    }
    const std::string path = PathOfPort({}, name);
    CalibratedPanel panel{name, {}, "", LOW_RESOLUTION_BITS, "", "", {}, {}, Json::array(), {}};
    std::error_code error;
    if (file != "-") // the current folder will be the panel's
        panel.exportFile = std::filesystem::absolute(file, error).string();
    std::string unasked;
    panel.driven = FindDrivenPanel(path, name, &unasked);
    if (panel.driven) {
        const std::string fault = ReadDriven(&panel);
        return fault.empty() ? CarryOut(options, action, &panel, &exported)
                             : Fail(name + ": " + fault);
    }
    if (!unasked.empty())
        return Fail(name + ": its runtime may be the one that cannot be asked: " + unasked);
    const bool isNamed = IsPanelName(name) && (path == name || path == PANEL_FOLDER + name);
    if (!isNamed) {
        Error("no runtime drives '" + name + "', and it is not the name of a panel");
        return EXIT_NO_PORT;
    }
    if (action == "import") {
        if (const std::string fault = MakeFolder(name); !fault.empty())
            return Fail(name + ": " + fault);
    }
    const FolderVisit visit(FolderOfPanel(name));
    if (!visit.entered)
        return Fail(name + ": no runtime drives it, and '" + FolderOfPanel(name)
            + "' cannot be entered: " + strerror(errno));
    const std::string fault = ReadFolder(&panel);
    if (!fault.empty() && action != "import" && action != "history" && action != "undo")
        return Fail(name + ": " + fault);
    return CarryOut(options, action, &panel, &exported);
}

} // namespace korvex::command
