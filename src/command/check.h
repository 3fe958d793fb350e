// "korvex check": what commonly goes wrong, and what to do about it.
#pragma once

namespace korvex::command {

int RunCheck(int argc, char** argv);

} // namespace korvex::command
