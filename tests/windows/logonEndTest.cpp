#include "libraries/sess/logonEnd.h"
#include "tests/windows/installation.h"

#include <gtest/gtest.h>

#include <tlhelp32.h>

namespace checks {
namespace {

int ownThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL found = Thread32First(snapshot, &entry); found != FALSE; found = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

bool watch(const Process& program) {
    DWORD session = 0;
    HANDLE copy = nullptr;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) != FALSE &&
           DuplicateHandle(GetCurrentProcess(), program.handle(), GetCurrentProcess(), &copy, 0, FALSE,
                           DUPLICATE_SAME_ACCESS) != FALSE &&
           kovra::sess::endAtLogon(kovra::KernelHandle{copy}, static_cast<LONG>(session));
}

TEST(LogonEnd, AThreadWatchesEachProgramAndEndsItTenSecondsBehindTheShell) {
    const Process shell = startStandIn("explorer.exe");
    const Process left = startStandIn("mysqld.exe");
    Process ended = startStandIn("winlogon.exe");
    const int threads = ownThreads();
    EXPECT_TRUE(watch(left) && watch(ended));
    EXPECT_EQ(ownThreads(), threads + 2);
    ended.kill();
    EXPECT_TRUE(waitFor(2000, [threads] { return ownThreads() == threads + 1; }));
    EXPECT_FALSE(left.waitForEnd(7500));
    EXPECT_TRUE(left.waitForEnd(10'000)); // a busy machine
    EXPECT_TRUE(waitFor(2000, [threads] { return ownThreads() == threads; }));
}

} // namespace
} // namespace checks
