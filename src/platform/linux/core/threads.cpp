#include "platform/linux/core/threads.h"

#include <sys/prctl.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/linux/core/blocking_io.h"
#include "platform/linux/core/handle_objects.h"

namespace korvex::platform {

namespace {

constexpr DWORD STILL_ACTIVE_CODE = 259;

// How much later than asked the kernel may end a wait, in nanoseconds. A detecting pass waits for
// silence so often that the usual 50 us add up.
constexpr unsigned long TIMER_SLACK_NS = 10'000;

struct EventObject : HandleObject {
    std::mutex mutex;
    std::condition_variable changed;
    bool manualReset = false;
    bool signalled = false;
};

// Shared by the handle and the running thread; whichever lets go last frees it.
struct ThreadRecord {
    IoCancellation cancellation; // of its serial reads, writes and waits

    std::mutex mutex; // guards the rest
    std::condition_variable changed;
    std::thread thread;
    bool ended = false;
    DWORD exitCode = STILL_ACTIVE_CODE;
};

struct ThreadObject : HandleObject {
    std::shared_ptr<ThreadRecord> record;

    ~ThreadObject() override
    {
        const std::lock_guard guard(record->mutex);
        if (record->thread.joinable())
            record->thread.detach();
    }
};

std::atomic<int> runningThreads{0};

void RunThread(const std::shared_ptr<ThreadRecord>& record, ThreadRoutine routine, void* argument)
{
    UseCancellation(&record->cancellation);
    prctl(PR_SET_TIMERSLACK, TIMER_SLACK_NS);
    const unsigned exitCode = routine(argument);
    UseCancellation(nullptr);
    const std::lock_guard guard(record->mutex);
    --runningThreads;
    record->exitCode = exitCode;
    record->ended = true;
    record->changed.notify_all();
}

// Waits until `reached`, called with the lock held, or for `milliseconds`.
template <typename Condition>
bool WaitUntil(std::unique_lock<std::mutex>* lock, std::condition_variable* changed,
    DWORD milliseconds, Condition reached)
{
    if (milliseconds == INFINITE) {
        changed->wait(*lock, reached);
        return true;
    }
    return changed->wait_for(*lock, std::chrono::milliseconds(milliseconds), reached);
}

DWORD WaitForEvent(EventObject* event, DWORD milliseconds)
{
    std::unique_lock lock(event->mutex);
    if (!WaitUntil(&lock, &event->changed, milliseconds, [event] { return event->signalled; }))
        return WAIT_TIMEOUT;
    event->signalled = event->manualReset;
    return WAIT_OBJECT_0;
}

DWORD WaitForThread(ThreadRecord* record, DWORD milliseconds)
{
    std::unique_lock lock(record->mutex);
    if (!WaitUntil(&lock, &record->changed, milliseconds, [record] { return record->ended; }))
        return WAIT_TIMEOUT;
    if (record->thread.joinable())
        record->thread.join();
    return WAIT_OBJECT_0;
}

} // namespace

int RunningThreads()
{
    return runningThreads;
}

} // namespace korvex::platform

using korvex::platform::EventObject;
using korvex::platform::Fail;
using korvex::platform::HandleOf;
using korvex::platform::ObjectAs;
using korvex::platform::ObjectOf;
using korvex::platform::ThreadObject;
using korvex::platform::ThreadRecord;

void InitializeCriticalSection(CRITICAL_SECTION* /*section*/) { }

void DeleteCriticalSection(CRITICAL_SECTION* /*section*/) { }

void EnterCriticalSection(CRITICAL_SECTION* section)
{
    section->mutex.lock();
}

void LeaveCriticalSection(CRITICAL_SECTION* section)
{
    section->mutex.unlock();
}

HANDLE CreateEventW(
    SECURITY_ATTRIBUTES* /*security*/, BOOL manualReset, BOOL initialState, LPCWSTR name)
{
    if (name != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto* event = new EventObject;
    event->manualReset = manualReset != FALSE;
    event->signalled = initialState != FALSE;
    return HandleOf(event);
}

BOOL SetEvent(HANDLE handle)
{
    auto* event = ObjectAs<EventObject>(handle);
    if (event == nullptr)
        return FALSE;
    const std::lock_guard guard(event->mutex);
    event->signalled = true;
    if (event->manualReset)
        event->changed.notify_all();
    else
        event->changed.notify_one();
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    if (auto* event = dynamic_cast<EventObject*>(ObjectOf(handle)); event != nullptr)
        return korvex::platform::WaitForEvent(event, milliseconds);
    const auto* thread = ObjectAs<ThreadObject>(handle);
    return thread == nullptr ? WAIT_FAILED
                             : korvex::platform::WaitForThread(thread->record.get(), milliseconds);
}

uintptr_t _beginthreadex(void* /*security*/, unsigned stackSize, ThreadRoutine routine,
    // NOLINTNEXTLINE(readability-non-const-parameter): as Windows has it
    void* argument, unsigned flags, unsigned* threadId)
{
    if (stackSize != 0 || flags != 0 || threadId != nullptr) {
        errno = EINVAL;
        return 0;
    }
    auto thread = std::make_unique<ThreadObject>();
    const auto record = thread->record = std::make_shared<ThreadRecord>();
    if (record->cancellation.descriptor < 0)
        return 0;
    // the thread may end before it is stored
    const std::lock_guard guard(record->mutex);
    ++korvex::platform::runningThreads;
    try {
        record->thread = std::thread(korvex::platform::RunThread, record, routine, argument);
    } catch (const std::exception&) { // the system refuses it, or memory for it
        --korvex::platform::runningThreads;
        errno = EAGAIN;
        return 0;
    }
    return reinterpret_cast<uintptr_t>(HandleOf(thread.release()));
}

BOOL GetExitCodeThread(HANDLE handle, DWORD* exitCode)
{
    auto* thread = ObjectAs<ThreadObject>(handle);
    if (thread == nullptr)
        return FALSE;
    const std::lock_guard guard(thread->record->mutex);
    *exitCode = thread->record->exitCode;
    return TRUE;
}

void Sleep(DWORD milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

BOOL CancelSynchronousIo(HANDLE handle)
{
    auto* thread = ObjectAs<ThreadObject>(handle);
    if (thread == nullptr)
        return FALSE;
    return korvex::platform::CancelIo(&thread->record->cancellation) ? TRUE : Fail(ERROR_NOT_FOUND);
}
