#include "input/host_handlers.h"

namespace korvex {

namespace {

HostHandlers hostHandlers;

} // namespace

void SetHostHandlers(const HostHandlers& handlers)
{
    hostHandlers = handlers;
}

const HostHandlers& Handlers()
{
    return hostHandlers;
}

} // namespace korvex
