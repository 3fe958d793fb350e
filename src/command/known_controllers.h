// Controllers that the device tree knows from an earlier start.
#pragma once

namespace korvex::command {

// Has the filter ask the line of each whether it is still there, as the refresh of a detection
// does. A detecting pass without a refresh takes what is known of a port as it is: a controller
// that was exchanged for another model, or set to another rate, is then found out.
void AskKnownControllers();

} // namespace korvex::command
