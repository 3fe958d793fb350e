// "korvex record" and "korvex replay": what came over a line, kept in a file (recording.h) and played again.
#pragma once

namespace korvex::command {

int RunRecord(int argc, char** argv);
int RunReplay(int argc, char** argv);

} // namespace korvex::command
