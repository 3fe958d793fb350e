// The subcommands of `korvex`, each after the name of its source file. The command's main calls
// them, once, when the options are read and the machine is set up as the command's declaration says
// (command_table.h). What goes wrong is said on standard error; the result is the exit code.
#pragma once

#include "process/options.h"

namespace korvex::command {

// detection.cpp: the entries that take the process over, as rundll32 does on Windows. Each ends the
// process when its window is closed or shutdown is requested; the exit code is returned only if the
// entry could not be started.
int RunEnumerate(const Options* options);
int RunPanelTest(const Options* options);

// calibrate.cpp: the calibration of a panel, until it is saved or discarded.
int RunCalibrate(const Options* options);
int RunTryPage(const Options* options);

// calibration_files.cpp: calibrations as files, for other machines.
int RunCalibrationFiles(const Options* options);

// name.cpp: a panel's name, by a rule of the administrator's.
int RunName(const Options* options);

// drive.cpp: one controller on one port, until shutdown is requested.
int RunDrive(const Options* options);

// monitor.cpp: what controllers report, live, until the time is over or shutdown is requested.
int RunMonitor(const Options* options);

// status.cpp: what the runtimes drive that run now.
int RunStatus(const Options* options);

// recording/record.cpp: what comes over a line, kept in a new file (recording.h).
int RunRecord(const Options* options);

// recording/replay.cpp: a recording, played to a session through a pseudo-terminal.
int RunReplay(const Options* options);

// check/check.cpp: what commonly goes wrong, and what to do about it; EXIT_FAULT when there is a
// fault.
int RunCheck(const Options* options);

// ports.cpp: the list of serial ports.
int RunPorts(const Options* options);

// unbind.cpp: the end of a port's binding.
int RunUnbind(const Options* options);

// calibration_program.cpp: the start of the separate calibration program, and where it is.
int RunCalib(const Options* options);
int RunSetPath(const Options* options);

// coinstall.cpp: the co-installer, called as the system's device installer does, on the machine of
// the state folder.
int RunCoinstall(const Options* options);

} // namespace korvex::command
