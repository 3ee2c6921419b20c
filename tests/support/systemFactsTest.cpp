#include "support/systemFacts.h"

#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

TEST(WindowsVersion, HasItsCodeAndItsMajorNumber) {
    struct {
        simulated::WindowsVersion version;
        const wchar_t* code;
        bool ntBased;
    } const rows[] = {{{3, 51, 2}, L"35", false}, {{3, 51, 0}, L"35", false}, {{3, 50, 2}, L"XX", false},
                      {{4, 0, 2}, L"40", false},  {{4, 0, 1}, L"95", false},  {{4, 0, 0}, L"XX", false},
                      {{4, 10, 1}, L"98", false}, {{4, 10, 2}, L"XX", false}, {{4, 90, 1}, L"ME", false},
                      {{4, 90, 2}, L"XX", false}, {{5, 0, 2}, L"00", true},   {{5, 0, 1}, L"XX", true},
                      {{5, 1, 2}, L"XP", true},   {{5, 1, 1}, L"XX", true},   {{5, 2, 2}, L"03", true},
                      {{5, 2, 3}, L"XX", true},   {{6, 0, 2}, L"VI", true},   {{6, 0, 3}, L"XX", true},
                      {{6, 1, 2}, L"W7", true},   {{6, 1, 9}, L"W7", true},   {{6, 2, 2}, L"W8", true},
                      {{6, 2, 9}, L"W8", true},   {{6, 3, 2}, L"XX", true},   {{10, 0, 2}, L"XX", true},
                      {{0, 0, 0}, L"XX", false}};

    for (const auto& row : rows) {
        InstalledMachine machine;
        machine.version = row.version;
        machine.inside([&] {
            SCOPED_TRACE(testing::Message() << row.version.major << "." << row.version.minor);
            EXPECT_EQ(getOsCode(), row.code);
            EXPECT_EQ(getWindowsMajorVersion(), static_cast<std::int16_t>(row.version.major));
            EXPECT_EQ(isNtBased(), row.ntBased);
        });
    }
}

TEST(WindowsVersion, IsAskedOnceForEachFormAndAgainOnlyWhereItFailed) {
    InstalledMachine machine;
    machine.fail("GetVersionExA", ERROR_ACCESS_DENIED, 2);
    machine.inside([&] {
        EXPECT_EQ(getOsCode(), L"XX");
        EXPECT_EQ(getWindowsMajorVersion(), 0);
        machine.version = {6, 1, VER_PLATFORM_WIN32_NT};
        EXPECT_EQ(getOsCode(), L"XX");
        EXPECT_EQ(getWindowsMajorVersion(), 6);
        machine.version = {10, 0, VER_PLATFORM_WIN32_NT};
        EXPECT_TRUE(isNtBased());
        EXPECT_EQ(getWindowsMajorVersion(), 6);
        EXPECT_EQ(machine.calls("GetVersionExA"), 3U);
    });
    machine.inside([] { EXPECT_EQ(getWindowsMajorVersion(), 10); });
}

TEST(PauseMs, LastsItsTimeAcrossBothTurnsOfTheClock) {
    for (const std::uint32_t ticks : {0U, 0x7FFFFFFFU - 100, 0x80000000U, 0xFFFFFFFFU - 100, 0xFFFFFFFFU}) {
        for (const std::int16_t milliseconds : std::initializer_list<std::int16_t>{1, 200, 32767}) {
            InstalledMachine machine;
            machine.clock.setTickCount(ticks);
            const std::uint64_t start = machine.scheduler.now();
            machine.inside([&] { pauseMs(milliseconds); });
            EXPECT_EQ(machine.scheduler.now() - start, static_cast<std::uint64_t>(milliseconds)) << ticks;
            EXPECT_GE(machine.calls("PeekMessageA"), 1U);
        }
    }
    InstalledMachine machine;
    machine.inside([] {
        for (const std::int16_t milliseconds : std::initializer_list<std::int16_t>{0, -1, -32768})
            pauseMs(milliseconds);
    });
    EXPECT_EQ(machine.scheduler.now(), 0U);
    EXPECT_EQ(machine.calls("PeekMessageA"), 0U);
}

TEST(SpecialFolder, IsEmptyWhereItCannotBeFound) {
    InstalledMachine machine;
    machine.shell.specialFolders.paths[CSIDL_APPDATA] = L"D:\\Jos\u00E9 ";
    machine.inside([&] {
        EXPECT_EQ(getSpecialFolder(CSIDL_APPDATA), L"D:\\Jos\u00E9 ");
        EXPECT_EQ(getSpecialFolder(99), L"");
        machine.fail("SHGetPathFromIDListA", ERROR_ACCESS_DENIED, 1);
        EXPECT_EQ(getSpecialFolder(CSIDL_APPDATA), L"");
    });
}

} // namespace
} // namespace kovra
