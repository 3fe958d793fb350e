// "korvex monitor": what controllers report, live.
#pragma once

namespace korvex::command {

int RunMonitor(int argc, char** argv);

} // namespace korvex::command
