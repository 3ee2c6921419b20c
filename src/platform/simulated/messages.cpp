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
    Scheduler& scheduler = here.scheduler;
    const auto closes = here.shell.messageBoxClosesAfter;
    scheduler.blockUntil(closes ? scheduler.now() + *closes : Scheduler::never, [] { return false; });
    return 1;
}

BOOL PeekMessageA(MSG*, HWND window, UINT first, UINT last, UINT remove) {
    const Call<"PeekMessageA"> call;
    call.expect(window == nullptr && first == 0 && last == 0 && remove == PM_REMOVE, "not every message");
    Thread& self = *currentThread();
    if (std::size_t& messages = self.process()->messages; messages > 0) {
        --messages;
        return TRUE;
    }
    // Looking again at once takes time: without that a thread that polls would never see the clock move.
    Scheduler& scheduler = machine().scheduler;
    if (self.polledAt == scheduler.now())
        scheduler.blockUntil(scheduler.now() + 1, [] { return false; });
    self.polledAt = scheduler.now();
    return FALSE;
}

BOOL TranslateMessage(const MSG*) {
    return FALSE;
}

LRESULT DispatchMessageA(const MSG*) {
    return 0;
}
