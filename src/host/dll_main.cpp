#include "platform/win32.h"

// Nothing is done at load time: the library's state is made by the entries that need it.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD /*reason*/, LPVOID /*reserved*/)
{
    return TRUE;
}
