// A machine of the test's own: an empty device tree, and a state folder with the enumerator's
// service in it.
#pragma once

#include <string>

#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/win32.h"
#include "testing/temporary_folder.h"

namespace korvex::testing {

struct TestMachine {
    TemporaryFolder folder; // current, with the state folder "state" in it

    TestMachine();
    ~TestMachine();
};

// Registers the enumerator's service; with a binary in its place or without.
void InstallEnumeratorService(bool withBinary);

// A device's element in a set, as the library's routines take it.
struct Element {
    HDEVINFO devices;
    SP_DEVINFO_DATA data;

    explicit Element(DEVINST node);
    ~Element();
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;
};

// A number in the registry, by the whole path of its key; -1 when there is none.
int64_t RegistryNumber(std::u16string_view key, const WCHAR* name);

void WriteRegistryText(std::u16string_view key, const WCHAR* name, const std::u16string& text);

// Where the enumerator's parameters of a port are.
std::u16string ParametersOf(std::u16string_view port);

} // namespace korvex::testing
