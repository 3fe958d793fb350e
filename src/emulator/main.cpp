#include "emulator/command.h"

int main(int argc, char** argv)
{
    return korvex::emulator::RunEmulatorCommand(argc, argv);
}
