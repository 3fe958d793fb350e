// Any Korvex.ini: the check says something of it, in lines that a terminal can show.

#include <cstdlib>
#include <fstream>

#include "command/check/check_settings.h"
#include "harness.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder;
    std::ofstream("Korvex.ini")
        .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    command::Findings findings;
    command::CheckSettings(&findings);
    if (findings.empty())
        abort();
    for (const command::Finding& finding : findings) {
        if (finding.text.empty())
            abort();
    }
    return 0;
}
