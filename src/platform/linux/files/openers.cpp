#include "platform/linux/files/openers.h"

#include <vector>

namespace korvex::platform {

namespace {

std::vector<Opener>* Openers()
{
    static std::vector<Opener> openers;
    return &openers;
}

} // namespace

bool RegisterOpener(Opener opener)
{
    Openers()->push_back(opener);
    return true;
}

std::optional<HANDLE> AskOpeners(const OpenRequest* request)
{
    for (const Opener opener : *Openers()) {
        if (const std::optional<HANDLE> handle = opener(request))
            return handle;
    }
    return std::nullopt;
}

} // namespace korvex::platform
