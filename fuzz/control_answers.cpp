// A runtime that answers anything: its clients take what is made as the protocol has it, and
// nothing else of it reaches a terminal.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include "control/control_client.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

namespace {

void ExpectPlain(const std::string& text)
{
    if (std::any_of(text.begin(), text.end(),
            [](unsigned char unit) { return unit < ' ' || unit == 0x7F; }))
        abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        abort();
    command::ControlClient client;
    client.socket = ends[0];
    client.received.assign(reinterpret_cast<const char*>(bytes), size);
    shutdown(ends[1], SHUT_WR); // there is no more
    while (client.socket >= 0) {
        const std::optional<command::RuntimeStatus> status = command::AskStatus(&client);
        for (size_t i = 0; status && i < status->panels.size(); ++i) {
            ExpectPlain(status->panels[i].panel);
            ExpectPlain(status->panels[i].controller);
            if (!command::PanelStateFrom(command::ToJson(status->panels[i])))
                abort(); // sent on, it must be understood again
        }
        for (size_t i = 0; status && i < status->pending.size(); ++i)
            ExpectPlain(status->pending[i].reason);
    }
    close(ends[1]);
    return 0;
}
