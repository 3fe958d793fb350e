#include "platform/linux/machine.h"

#include <memory>

namespace korvex::platform {

Machine* ThisMachine()
{
    static Machine machine;
    return &machine;
}

void ResetMachine()
{
    std::destroy_at(ThisMachine());
    std::construct_at(ThisMachine());
}

} // namespace korvex::platform
