#include "platform/posix/machine.h"

namespace korvex::platform {

Machine* ThisMachine()
{
    static Machine machine;
    return &machine;
}

} // namespace korvex::platform
