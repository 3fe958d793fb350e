#include "command/runner.h"

int main(int argc, char** argv)
{
    return korvex::command::RunCommand(argc, argv);
}
