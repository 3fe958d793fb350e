#include "platform/linux/core/input_line.h"

namespace korvex::platform {

namespace {

thread_local std::shared_ptr<const InputLine> lineOfThread;

} // namespace

void SetLineOfThread(const std::shared_ptr<const InputLine>& line)
{
    if (lineOfThread != line)
        lineOfThread = line;
}

const std::shared_ptr<const InputLine>& LineOfThread()
{
    return lineOfThread;
}

} // namespace korvex::platform
