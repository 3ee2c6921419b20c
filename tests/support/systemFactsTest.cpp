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

    for (const auto& [version, code] : rows) {
        InstalledMachine machine;
        machine.version = version;
        machine.inside([&] {
            EXPECT_EQ(getOsCode(), code);
            EXPECT_EQ(getWindowsMajorVersion(), static_cast<std::int16_t>(version.major));
            EXPECT_EQ(isNtBased(), version.major > 4) << code;
        });
    }
}

TEST(PauseMs, LastsItsTimeAcrossTheTurnOfTheClock) {
    InstalledMachine machine;
    machine.clock.setTickCount(0xFFFFFFFFU - 100);
    machine.inside([] {
        for (const std::int16_t milliseconds : {200, 0, -1})
            pauseMs(milliseconds);
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
