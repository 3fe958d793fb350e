// "korvex check": what commonly goes wrong, and what to do about it.
#pragma once

namespace korvex::runner {

int RunCheck(int argc, char** argv);

} // namespace korvex::runner
