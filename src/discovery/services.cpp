#include "discovery/services.h"

#include "support/owned.h"

namespace korvex {

SC_HANDLE OpenServiceByName(const WCHAR* service, DWORD access)
{
    const OwnedService manager(OpenSCManagerW(nullptr, TEXT("ServicesActive"), GENERIC_ALL));
    return manager.value == nullptr ? nullptr : OpenServiceW(manager.value, service, access);
}

} // namespace korvex
