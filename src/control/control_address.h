// The places of control sockets, and the version of their protocol.
#pragma once

#include <sys/un.h>

#include <string>
#include <vector>

namespace korvex::command {

// Has a folder for each unit, named after its panel.
inline constexpr const char* UNIT_FOLDER = "/run/korvex";

// Of the protocol (docs/control.md), in the first line of each connection.
inline constexpr int CONTROL_PROTOCOL = 1;

// A socket's folder and its name in there; an empty folder: nowhere.
struct ControlPlace {
    std::string folder;
    std::string name;
};

// The place of this process's socket (StartControl).
ControlPlace ControlPlaceOf(const std::string& name);

// The paths of all sockets of units and of this user's processes, in order, even if their process
// has died.
std::vector<std::string> ControlSockets();

// The folders of these places, for people.
std::string ControlFolders();

// The address of a path; false, with errno set, when it is too long for one.
bool ControlAddressOf(const std::string& path, sockaddr_un* address);

// A connection to the socket; -1 with errno set if there is none (ECONNREFUSED: its process has
// died).
int ConnectTo(const sockaddr_un* address);

} // namespace korvex::command
