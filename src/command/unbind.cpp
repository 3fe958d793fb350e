#include <string>

#include "command/subcommands.h"
#include "discovery/model_table.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "process/exit_codes.h"
#include "process/message.h"

namespace korvex::command {

int RunUnbind(const Options* options)
{
    const std::string& name = options->arguments[0];
    const std::string path = PathOfPort(options->givenPorts, name);
    for (const PortState& port : AllPorts()) {
        if (port.name != name && !IsSamePort(port.path, path))
            continue;
        const std::u16string parameters = platform::ServiceKeyPath(ENUMERATOR_SERVICE)
            + u"\\Parameters\\" + platform::FromUtf8(port.name);
        platform::ForgetPort(port.node);
        platform::DeleteRegistryKey(parameters);
        return EXIT_DONE; // what could not be written has been said
    }
    Error("there is no port '" + name + "'; see 'korvex ports'");
    return EXIT_NO_PORT;
}

} // namespace korvex::command
