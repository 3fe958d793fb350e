#include "platform/linux/files/process.h"

#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/text.h"
#include "platform/linux/core/threads.h"
#include "platform/linux/files/lock_file.h"
#include "platform/linux/machine.h"

namespace {

// Splits at blanks outside double quotes.
std::vector<std::string> SplitParameters(std::string_view text)
{
    std::vector<std::string> words;
    bool quoted = false;
    bool inWord = false;
    for (const char unit : text) {
        if (unit == '"')
            quoted = !quoted;
        if (unit == ' ' && !quoted) {
            inWord = false;
            continue;
        }
        if (!inWord)
            words.emplace_back();
        inWord = true;
        if (unit != '"')
            words.back().push_back(unit);
    }
    return words;
}

} // namespace

HANDLE CreateMutexW(SECURITY_ATTRIBUTES* /*security*/, BOOL /*initialOwner*/, LPCWSTR name)
{
    static korvex::platform::HandleObject held; // it is never closed
    const std::string folder = korvex::platform::SessionFolder();
    // the lock is held to the end of the process
    const bool owned = !folder.empty()
        && korvex::platform::OpenLockFile(
               folder + "/korvex-" + korvex::platform::ToUtf8(name) + ".lock")
            >= 0;
    const int error = owned ? 0 : errno;
    const auto& told = korvex::platform::ThisMachine()->handlers.mutexRefused;
    if (error != 0 && error != EWOULDBLOCK && told)
        told(folder, error);
    SetLastError(owned ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    return korvex::platform::HandleOf(&held);
}

HINSTANCE ShellExecuteW(HWND /*owner*/, LPCWSTR /*verb*/, LPCWSTR file, LPCWSTR parameters,
    LPCWSTR /*folder*/, int /*show*/)
{
    constexpr uintptr_t STARTED = 42;
    constexpr uintptr_t NOT_FOUND = 2;
    std::vector<std::string> words{korvex::platform::ToNativePath(file)};
    for (std::string& word : SplitParameters(korvex::platform::ToUtf8(parameters)))
        words.push_back(std::move(word));
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    // The program gets the signals that this process has blocked or ignores for itself.
    posix_spawnattr_t attributes;
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t ignored;
    sigemptyset(&ignored);
    sigaddset(&ignored, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &ignored);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    const int refusal
        = posix_spawn(&child, arguments[0], nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): as Windows has it
    return reinterpret_cast<HINSTANCE>(refusal == 0 ? STARTED : NOT_FOUND);
}

void ExitProcess(UINT exitCode)
{
    auto code = static_cast<int>(exitCode);
    if (const auto& onExit = korvex::platform::ThisMachine()->onExit)
        code = onExit(code);
    fflush(nullptr);
    if (korvex::platform::RunningThreads() > 0)
        _exit(code);
    exit(code); // NOLINT(concurrency-mt-unsafe): no other thread runs
}
