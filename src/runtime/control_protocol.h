// The protocol of the control socket (docs/control.md): requests and answers, one JSON object a
// line.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "link/touch_controller.h"
#include "runtime/running_sessions.h"

namespace korvex::command {

// A connection, as far as the protocol goes. It stays where it is while it has tried something.
struct Conversation {
    bool listens = false;
    std::string listensTo;                       // a port's path; empty: to all
    std::map<SessionKey, CalibrationData> tried; // the calibration before the client's first try
    int process = 0;                             // the client's
    unsigned user = ~0U;                         // its ID; 0, root, may revert what others try
};

// The first line of a connection.
std::string Greeting();

// The answer to one line of a client, whatever it is, with its end. What it says about calibrations
// has then been done. On the control thread.
std::string Answer(std::string_view line, Conversation* conversation);

// The line for an event, and whether a client listens to it.
std::string FormatEvent(const PanelEvent* event);
bool ListensTo(const Conversation* conversation, const PanelEvent* event);

// Reverts what the client has tried and not stored.
void RevertAll(Conversation* conversation);

} // namespace korvex::command
