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
    EXPECT_GT(information.dwMinorVersion, 0U);
    EXPECT_EQ(information.dwPlatformId, VER_PLATFORM_WIN32_NT);
}

CONTRACT_TEST(System, DateAndTimeAreTextOfTheUsersSettings) {
    const struct {
        SYSTEMTIME time;
        const char* text;
    } cases[] = {
        {{2026, 11, 2, 17, 0, 5, 28, 7}, "11/17/2026 12:05:28 AM"},
        {{2026, 1, 5, 2, 12, 30, 0, 0}, "1/2/2026 12:30:00 PM"},
        {{2026, 1, 5, 2, 23, 9, 0, 0}, "1/2/2026 11:09:00 PM"},
    };

    for (const auto& each : cases) {
        char date[64];
        char time[64];
        GetDateFormatA(LOCALE_USER_DEFAULT, DATE_SHORTDATE | LOCALE_USE_CP_ACP, &each.time, nullptr, date,
                       sizeof date);
        GetTimeFormatA(LOCALE_USER_DEFAULT, LOCALE_USE_CP_ACP, &each.time, nullptr, time, sizeof time);
        EXPECT_EQ(std::string{date} + " " + time, each.text);
    }
    SYSTEMTIME before{};
    SYSTEMTIME after{};
    GetLocalTime(&before);
    Sleep(1100);
    GetLocalTime(&after);
    EXPECT_GE(before.wYear, 2026);
    EXPECT_NE(before.wSecond, after.wSecond);
}

CONTRACT_TEST(System, SpecialFoldersHaveTheirPlaces) {
    // The last one is spelt "Startup" or "StartUp".
    const struct {
        int folder;
        const char* part;
    } cases[] = {
        {CSIDL_APPDATA, "\\AppData\\Roaming"},
        {CSIDL_COMMON_APPDATA, "C:\\ProgramData"},
        {CSIDL_STARTUP, "\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\Start"},
        {CSIDL_COMMON_STARTUP, "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Start"},
    };

    ITEMIDLIST* list = nullptr;
    char path[512];
    for (const auto& each : cases) {
        ASSERT_EQ(SHGetSpecialFolderLocation(nullptr, each.folder, &list), 0);
        std::memset(path, ' ', sizeof path);
        EXPECT_TRUE(SHGetPathFromIDListA(list, path));
        CoTaskMemFree(list);
        EXPECT_TRUE(std::string{path}.find(each.part) != std::string::npos) << path;
    }
    constexpr int none = 0x7F;
    EXPECT_NE(SHGetSpecialFolderLocation(nullptr, none, &list), 0);
    EXPECT_FALSE(SHGetPathFromIDListA(nullptr, path));
}

} // namespace
} // namespace kovra::contract
