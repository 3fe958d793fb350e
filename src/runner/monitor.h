// "korvex monitor": what controllers report, live.
#pragma once

namespace korvex::runner {

int RunMonitor(int argc, char** argv);

} // namespace korvex::runner
