#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

KernelHandle makeEvent() {
    return KernelHandle{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
}

DWORD waitForAny(const KernelHandle& first, const KernelHandle& second, DWORD milliseconds = 10) {
    const HANDLE handles[] = {first.get(), second.get()};
    return WaitForMultipleObjects(2, handles, FALSE, milliseconds);
}

CONTRACT_TEST(Threads, AnEventStaysSetAndAWaitTellsTheFirst) {
    const KernelHandle first = makeEvent();
    const KernelHandle second = makeEvent();
    EXPECT_EQ(WaitForSingleObject(second.get(), 0), WAIT_TIMEOUT);
    EXPECT_EQ(waitForAny(first, second), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(second.get()));
    EXPECT_EQ(WaitForSingleObject(second.get(), INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(waitForAny(first, second), WAIT_OBJECT_0 + 1);
    SetEvent(first.get());
    EXPECT_EQ(waitForAny(first, second), WAIT_OBJECT_0);
}

DWORD WINAPI waitForEvent(LPVOID event) {
    return WaitForSingleObject(event, INFINITE);
}

CONTRACT_TEST(Threads, AThreadsEndIsWaitedFor) {
    const KernelHandle go = makeEvent();
    const KernelHandle thread{CreateThread(nullptr, 0, waitForEvent, go.get(), 0, nullptr)};
    EXPECT_EQ(waitForAny(go, thread), WAIT_TIMEOUT);
    SetEvent(go.get());
    EXPECT_EQ(waitForAny(makeEvent(), thread, INFINITE), WAIT_OBJECT_0 + 1);
}

CONTRACT_TEST(Threads, WaitsTakeTheirTime) {
    constexpr DWORD waitMs = 60;
    constexpr DWORD tickMs = 16; // the clock's step
    const KernelHandle event = makeEvent();
    const DWORD start = GetTickCount();
    Sleep(waitMs);
    EXPECT_GE(GetTickCount() - start, waitMs - tickMs);
    EXPECT_EQ(WaitForSingleObject(event.get(), waitMs), WAIT_TIMEOUT);
    EXPECT_GE(GetTickCount() - start, 2 * (waitMs - tickMs));
    EXPECT_LT(GetTickCount() - start, 2000U);
    MSG message{};
    EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) << "none has come";
}

} // namespace
} // namespace kovra::contract
