#include "support/systemFacts.h"

#include "support/product.h"

#include <gtest/gtest.h>

namespace kovra {
namespace {

TEST(WindowsVersion, HasItsCodeAndItsMajorNumber) {
    struct {
        simulated::WindowsVersion version;
        const wchar_t* code;
    } const rows[] = {{{4, 0, 0}, L"XX"},  {{4, 0, 1}, L"95"}, {{4, 0, 2}, L"40"},
                      {{4, 10, 1}, L"98"}, {{5, 0, 2}, L"00"}, {{5, 1, 2}, L"XP"},
                      {{5, 2, 2}, L"03"},  {{6, 2, 2}, L"W8"}, {{6, 3, 2}, L"XX"}};

    for (const auto& row : rows) {
        InstalledMachine machine;
        machine.version = row.version;
        machine.inside([&] {
            EXPECT_EQ(getOsCode(), row.code);
            EXPECT_EQ(getWindowsMajorVersion(), static_cast<std::int16_t>(row.version.major));
            EXPECT_EQ(isNtBased(), row.version.major > 4) << row.code;
        });
    }
}

TEST(PauseMs, LastsItsTimeAcrossTheTurnOfTheClock) {
    InstalledMachine machine;
    machine.clock.setTickCount(0xFFFFFFFFU - 100);
    machine.inside([] {
        pauseMs(200);
        pauseMs(-1);
    });
    EXPECT_EQ(machine.scheduler.now(), 200U);
    EXPECT_GE(machine.calls("PeekMessageA"), 1U);
}

TEST(SpecialFolder, IsEmptyWhereItCannotBeFound) {
    InstalledMachine machine;
    machine.fail("SHGetPathFromIDListA", ERROR_ACCESS_DENIED);
    machine.inside([] { EXPECT_EQ(getSpecialFolder(CSIDL_APPDATA), L""); });
}

} // namespace
} // namespace kovra
