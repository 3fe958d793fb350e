#include "runner/runner.h"

int main(int argc, char** argv)
{
    return korvex::runner::RunCommand(argc, argv);
}
