// Stand-in for the serial enumerator filter driver: it presents the controller on a bound port as
// the port's child device, SERENUM\KVXnnnn\PORT, from the parameters that the binding left in the
// registry.
#pragma once

#include "platform/linux/devices/setup_types.h"

namespace korvex::drivers {

// Registers the filter's service in the registry and puts its binary in place below the machine's
// Windows folder, as far as that has not been done. False when it cannot be stored.
bool InstallEnumeratorService();

// Plugs the filter into the machine, for ports whose first upper filter is "KXSERENUM".
void RegisterEnumeratorFilter();

// The filter's work when its port is restarted or enumerated. With AlwaysExist 1 it presents the
// stored model unchecked. Otherwise it asks on the line at the stored baud rate whether that model
// answers; if not, the port gets no child and its node a problem, so that the next detecting pass
// probes it again. A port that cannot be opened now (in use, no permission) keeps its child. Takes
// up to 0.25 s on a silent line.
void StartEnumeratorFilter(DEVINST port);

} // namespace korvex::drivers
