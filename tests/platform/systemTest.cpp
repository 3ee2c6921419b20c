#include "tests/platform/contract.h"

#include <cstring>

namespace kovra::contract {
namespace {

CONTRACT_TEST(System, ItsVersionIsToldWhereTheRecordHasItsSize) {
    OSVERSIONINFOA information{};
    EXPECT_FALSE(GetVersionExA(&information));
    information.dwOSVersionInfoSize = sizeof information;
    EXPECT_TRUE(GetVersionExA(&information));
    EXPECT_EQ(information.dwMajorVersion, 6U) << "of whatever is newer, to a program that names no version";
    EXPECT_EQ(information.dwPlatformId, VER_PLATFORM_WIN32_NT);
}

CONTRACT_TEST(System, DateAndTimeAreTextOfTheUsersSettings) {
    const std::pair<SYSTEMTIME, const char*> rows[] = {
        {{2026, 11, 2, 17, 0, 5, 28, 7}, "11/17/2026 12:05:28 AM"},
        {{2026, 1, 5, 2, 12, 30, 0, 0}, "1/2/2026 12:30:00 PM"},
        {{2026, 1, 5, 2, 23, 9, 0, 0}, "1/2/2026 11:09:00 PM"},
    };

    for (const auto& [moment, text] : rows) {
        char date[32];
        char time[32];
        GetDateFormatA(LOCALE_USER_DEFAULT, DATE_SHORTDATE | LOCALE_USE_CP_ACP, &moment, nullptr, date, 32);
        GetTimeFormatA(LOCALE_USER_DEFAULT, LOCALE_USE_CP_ACP, &moment, nullptr, time, 32);
        EXPECT_EQ(std::string{date} + " " + time, text);
    }
    SYSTEMTIME now{};
    GetLocalTime(&now);
    EXPECT_GE(now.wYear, 2026);
}

CONTRACT_TEST(System, SpecialFoldersHaveTheirPlaces) {
    // The last one is spelt "Startup" or "StartUp".
    const std::pair<int, const char*> rows[] = {
        {CSIDL_APPDATA, "\\AppData\\Roaming"},
        {CSIDL_COMMON_APPDATA, "C:\\ProgramData"},
        {CSIDL_STARTUP, "\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\Start"},
        {CSIDL_COMMON_STARTUP, "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Start"},
    };

    ITEMIDLIST* list = nullptr;
    char path[512];
    for (const auto& [folder, part] : rows) {
        ASSERT_EQ(SHGetSpecialFolderLocation(nullptr, folder, &list), 0);
        EXPECT_TRUE(SHGetPathFromIDListA(list, path));
        CoTaskMemFree(list);
        EXPECT_NE(std::strstr(path, part), nullptr) << path;
    }
    EXPECT_NE(SHGetSpecialFolderLocation(nullptr, 0x7F, &list), 0);
    EXPECT_FALSE(SHGetPathFromIDListA(nullptr, path));
}

KernelHandle makeEvent() {
    return KernelHandle{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
}

DWORD waitForAny(const KernelHandle& first, const KernelHandle& second, DWORD milliseconds = 10) {
    const HANDLE handles[] = {first.get(), second.get()};
    return WaitForMultipleObjects(2, handles, FALSE, milliseconds);
}

DWORD WINAPI waitForEvent(LPVOID event) {
    return WaitForSingleObject(event, INFINITE);
}

CONTRACT_TEST(Threads, AWaitTellsTheFirstOfEventsThatStaySetAndOfEndedThreads) {
    const KernelHandle first = makeEvent();
    const KernelHandle second = makeEvent();
    const KernelHandle thread{CreateThread(nullptr, 0, waitForEvent, second.get(), 0, nullptr)};
    EXPECT_EQ(waitForAny(second, thread), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(second.get()));
    EXPECT_EQ(waitForAny(first, thread, INFINITE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(waitForAny(first, second), WAIT_OBJECT_0 + 1);
    SetEvent(first.get());
    EXPECT_EQ(waitForAny(first, second), WAIT_OBJECT_0);
}

CONTRACT_TEST(Threads, WaitsTakeTheirTime) {
    constexpr DWORD waitMs = 60;
    constexpr DWORD tickMs = 16; // the clock's step
    const DWORD start = GetTickCount();
    Sleep(waitMs);
    EXPECT_GE(GetTickCount() - start, waitMs - tickMs);
    EXPECT_EQ(WaitForSingleObject(makeEvent().get(), waitMs), WAIT_TIMEOUT);
    EXPECT_GE(GetTickCount() - start, 2 * (waitMs - tickMs));
    EXPECT_LT(GetTickCount() - start, 2000U);
}

CONTRACT_TEST(System, AMessageIsTakenOnce) {
    MSG message{};
    EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
    sendMessage();
    EXPECT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
    TranslateMessage(&message);
    DispatchMessageA(&message);
    EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
}

} // namespace
} // namespace kovra::contract
