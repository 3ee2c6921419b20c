#include "platform/simulated/machine.h"

#include <algorithm>

namespace kovra::simulated {

namespace {

DWORD wait(DWORD count, const HANDLE* handles, DWORD milliseconds) {
    Machine& here = machine();
    DWORD signalled = WAIT_TIMEOUT;
    const std::uint64_t due =
        milliseconds == INFINITE ? Scheduler::never : here.scheduler.now() + milliseconds;
    here.scheduler.blockUntil(due, [&] {
        const HANDLE* const first = std::find_if(
            handles, handles + count, [&](HANDLE handle) { return here.handles.isSignalled(handle); });
        if (first == handles + count)
            return false;
        signalled = WAIT_OBJECT_0 + static_cast<DWORD>(first - handles);
        return true;
    });
    return signalled;
}

template <FunctionName name>
DWORD waitFor(DWORD count, const HANDLE* handles, DWORD milliseconds) {
    DWORD result = WAIT_FAILED;
    {
        const Call<name> call;
        ++currentThread()->process()->waits;
        if (call.fails())
            return WAIT_FAILED;
        const bool known = std::all_of(handles, handles + count, [](HANDLE handle) {
            return machine().handles.findAny(handle) != nullptr;
        });
        call.expect(known, "an unknown handle");
        if (known)
            result = wait(count, handles, milliseconds);
    }
    if (result < WAIT_OBJECT_0 + count)
        acquireFrom(handles[result - WAIT_OBJECT_0]);
    return result;
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

HANDLE CreateEventA(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR name) {
    const Call<"CreateEventA"> call;
    call.expect(attributes == nullptr && manualReset != FALSE && initialState == FALSE && name == nullptr,
                "attributes, reset, state, name");
    return call.fails() ? nullptr : machine().handles.add(EventObject::reset);
}

BOOL SetEvent(HANDLE handle) {
    releaseTo(handle);
    const Call<"SetEvent"> call;
    if (call.fails())
        return FALSE;
    EventObject* event = machine().handles.find<EventObject>(handle);
    call.expect(event != nullptr, "an unknown handle");
    if (event != nullptr)
        *event = EventObject::set;
    return event != nullptr;
}

HANDLE CreateThread(SECURITY_ATTRIBUTES* attributes, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                    LPVOID parameter, DWORD flags, LPDWORD) {
    const Call<"CreateThread"> call;
    call.expect(attributes == nullptr && stackSize == 0 && flags == 0, "attributes, stack size, flags");
    if (call.fails())
        return nullptr;
    const auto ended = std::make_shared<bool>(false);
    HANDLE handle = machine().handles.add(ended);
    machine().scheduler.start(*currentThread()->process(), [start, parameter, handle, ended] {
        start(parameter);
        releaseTo(handle);
        const InsideMachine inside;
        *ended = true;
    });
    return handle;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    return waitFor<"WaitForSingleObject">(1, &handle, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
    if (waitAll != FALSE)
        addMisuse("WaitForMultipleObjects", "a wait for all");
    return waitFor<"WaitForMultipleObjects">(count, handles, milliseconds);
}

void Sleep(DWORD milliseconds) {
    const Call<"Sleep"> call;
    machine().scheduler.work(milliseconds);
}
