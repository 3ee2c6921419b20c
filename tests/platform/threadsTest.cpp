#include "tests/platform/contract.h"

#include "platform/handles.h"

namespace kovra::contract {
namespace {

KernelHandle makeEvent() {
    return KernelHandle{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
}

DWORD waitForAny(const KernelHandle& first, const KernelHandle& second) {
    const HANDLE handles[] = {first.get(), second.get()};
    return WaitForMultipleObjects(2, handles, FALSE, 10);
}

CONTRACT_TEST(Threads, AnEventStaysSet) {
    const KernelHandle event = makeEvent();
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(WaitForSingleObject(event.get(), INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);
}

CONTRACT_TEST(Threads, AWaitForAnyTellsTheFirst) {
    const KernelHandle first = makeEvent();
    const KernelHandle second = makeEvent();
    EXPECT_EQ(waitForAny(first, second), WAIT_TIMEOUT);
    SetEvent(second.get());
    EXPECT_EQ(waitForAny(first, second), WAIT_OBJECT_0 + 1);
    SetEvent(first.get());
    EXPECT_EQ(waitForAny(first, second), WAIT_OBJECT_0);
}

CONTRACT_TEST(Threads, AThreadsEndIsWaitedFor) {
    const KernelHandle go = makeEvent();
    KernelHandle thread{CreateThread(
        nullptr, 0, [](LPVOID event) { return DWORD{WaitForSingleObject(event, INFINITE)}; }, go.get(), 0,
        nullptr)};
    ASSERT_TRUE(thread);
    EXPECT_EQ(WaitForSingleObject(thread.get(), 20), WAIT_TIMEOUT);
    SetEvent(go.get());
    EXPECT_EQ(waitForAny(makeEvent(), thread), WAIT_OBJECT_0 + 1);
}

CONTRACT_TEST(Threads, WaitsTakeTheirTime) {
    constexpr DWORD waitMs = 60;
    constexpr DWORD tickMs = 16; // the clock's step
    const KernelHandle event = makeEvent();
    for (const bool sleeps : {true, false}) {
        const DWORD start = GetTickCount();
        if (sleeps)
            Sleep(waitMs);
        else
            WaitForSingleObject(event.get(), waitMs);
        EXPECT_GE(GetTickCount() - start, waitMs - tickMs);
        EXPECT_LT(GetTickCount() - start, 2000U);
    }
}

CONTRACT_TEST(Threads, WithoutMessagesNoneIsTaken) {
    MSG message{};
    EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
}

} // namespace
} // namespace kovra::contract
