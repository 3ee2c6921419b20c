#include "platform/simulated/machine.h"

#include <cstring>

using namespace kovra::simulated;

int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type) {
    const Call<"MessageBoxA"> call;
    call.expect(owner == nullptr && std::strcmp(caption, "KovraLauncher") == 0 &&
                    type == (MB_OK | MB_ICONEXCLAMATION),
                "a box of another kind");
    Machine& here = machine();
    here.shell.messageBoxes.emplace_back(text);
    here.tell(Side::launcher, "message box: " + std::string{text});
    constexpr std::uint64_t somebodyClosesItMs = 1000;
    here.scheduler.work(somebodyClosesItMs);
    return 1;
}

BOOL PeekMessageA(MSG*, HWND window, UINT first, UINT last, UINT remove) {
    const Call<"PeekMessageA"> call;
    call.expect(window == nullptr && first == 0 && last == 0 && remove == PM_REMOVE, "not every message");
    Thread& self = *currentThread();
    Process& process = *self.process();
    call.expect(!process.hasMessage, "the message before isn't dispatched");
    if (process.messages > 0) {
        --process.messages;
        process.hasMessage = true;
        return TRUE;
    }
    // Looking again at once takes time: without that a thread that polls would never see the clock move.
    if (self.polledAt == machine().scheduler.now())
        machine().scheduler.work(1);
    self.polledAt = machine().scheduler.now();
    return FALSE;
}

BOOL TranslateMessage(const MSG*) {
    const Call<"TranslateMessage"> call;
    return FALSE;
}

LRESULT DispatchMessageA(const MSG*) {
    const Call<"DispatchMessageA"> call;
    currentThread()->process()->hasMessage = false;
    return 0;
}
