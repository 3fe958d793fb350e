#include "command/known_controllers.h"

#include "command/end_request.h"
#include "command/port_state.h"
#include "discovery/device_nodes.h"
#include "discovery/enumerator_binding.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "support/bounded_text.h"

namespace korvex::command {

void AskKnownControllers()
{
    for (const PortState& port : AllPorts()) {
        if (port.model == 0 || IsEndRequested())
            continue;
        PortName name{};
        CopyBounded(name.data(), name.size(), platform::FromUtf8(port.name).c_str());
        WriteEnumeratorParameters(nullptr, &name, 0);
        platform::StartFilter(port.node);
    }
}

} // namespace korvex::command
