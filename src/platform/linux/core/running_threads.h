#pragma once

namespace korvex::platform {

// How many threads of _beginthreadex are running.
int RunningThreads();

} // namespace korvex::platform
