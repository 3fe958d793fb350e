// The settings of a serial line.
#pragma once

#include "platform/linux/core/types.h"

inline constexpr BYTE NOPARITY = 0;
inline constexpr BYTE ODDPARITY = 1;
inline constexpr BYTE EVENPARITY = 2;
inline constexpr BYTE ONESTOPBIT = 0;
inline constexpr BYTE TWOSTOPBITS = 2;
inline constexpr DWORD DTR_CONTROL_ENABLE = 1;
inline constexpr DWORD RTS_CONTROL_DISABLE = 0;
inline constexpr DWORD RTS_CONTROL_ENABLE = 1;
inline constexpr DWORD EV_RXCHAR = 1;
inline constexpr DWORD PURGE_TXCLEAR = 4;
inline constexpr DWORD PURGE_RXCLEAR = 8;

struct DCB {
    DWORD DCBlength;
    DWORD BaudRate;
    DWORD fBinary : 1;
    DWORD fParity : 1;
    DWORD fOutxCtsFlow : 1;
    DWORD fOutxDsrFlow : 1;
    DWORD fDtrControl : 2;
    DWORD fDsrSensitivity : 1;
    DWORD fTXContinueOnXoff : 1;
    DWORD fOutX : 1;
    DWORD fInX : 1;
    DWORD fErrorChar : 1;
    DWORD fNull : 1;
    DWORD fRtsControl : 2;
    DWORD fAbortOnError : 1;
    DWORD fDummy2 : 17;
    WORD wReserved;
    WORD XonLim;
    WORD XoffLim;
    BYTE ByteSize;
    BYTE Parity;
    BYTE StopBits;
    char XonChar;
    char XoffChar;
    char ErrorChar;
    char EofChar;
    char EvtChar;
    WORD wReserved1;
};

// Milliseconds; how they combine is as documented for COMMTIMEOUTS.
struct COMMTIMEOUTS {
    DWORD ReadIntervalTimeout;
    DWORD ReadTotalTimeoutMultiplier;
    DWORD ReadTotalTimeoutConstant;
    DWORD WriteTotalTimeoutMultiplier;
    DWORD WriteTotalTimeoutConstant;
};
