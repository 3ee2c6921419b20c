#include "support/clsDOS.h"

#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

using simulated::ConsoleRun;
using testing::ElementsAre;

TEST(ClsDOS, GivesTheWholeOutputInItsOrder) {
    struct {
        std::vector<std::pair<std::uint64_t, std::string>> output;
    } const rows[] = {{{}},
                      {{{0, std::string(256, 'a')}}},
                      {{{10, std::string(255, 'a') + "\xE9"}, {5000, std::string(300, 'b')}, {1, "c\0d"}}},
                      {{{0, "out\r\n"}, {0, "err\r\n"}, {100, "out\r\n"}}}};

    for (const auto& row : rows) {
        InstalledMachine machine;
        machine.shell.consolePrograms["program"] = [&](const std::string&) {
            return ConsoleRun{row.output, 70};
        };
        std::string expected;
        std::uint64_t takes = 70;
        for (const auto& [delay, piece] : row.output) {
            expected += piece;
            takes += delay;
        }
        machine.inside([&] {
            const std::uint64_t start = machine.scheduler.now();
            clsDOS console;
            EXPECT_EQ(machine.codePage.toAnsi(console.ExecuteCommand(L"program a b")), expected);
            EXPECT_GE(machine.scheduler.now() - start, takes);
            EXPECT_LE(machine.scheduler.now() - start, takes + 5 + simulated::programStartMs);
        });
        EXPECT_THAT(machine.shell.consoleCommands, ElementsAre("program a b"));
    }
}

TEST(ClsDOS, ADoubleByteCharacterSurvivesTheEndOfARead) {
    InstalledMachine machine;
    ASSERT_TRUE(machine.codePage.set(932));
    machine.shell.consolePrograms["program"] = [](const std::string&) {
        return ConsoleRun{{{0, std::string(255, 'a') + "\x82\xA0"}}, 0};
    };
    machine.inside(
        [] { EXPECT_EQ(clsDOS{}.ExecuteCommand(L"program"), std::wstring(255, L'a') + L"\u3042"); });
}

TEST(ClsDOS, EveryFailureGivesTheEmptyTextAndLeavesNothingOpen) {
    InstalledMachine machine;
    machine.shell.consolePrograms["program"] = [](const std::string&) {
        return ConsoleRun{{{0, "text"}}, 0};
    };
    machine.inside([&] {
        clsDOS console;
        EXPECT_EQ(console.ExecuteCommand(L"program"), L"text");
        EXPECT_EQ(console.ExecuteCommand(L""), L"");
        EXPECT_EQ(console.ExecuteCommand(L"unknown"), L"");
        machine.fail("CreatePipe", ERROR_ACCESS_DENIED, 1);
        EXPECT_EQ(console.ExecuteCommand(L"program"), L"");
        machine.fail("ReadFile", ERROR_ACCESS_DENIED, 1);
        EXPECT_EQ(console.ExecuteCommand(L"program"), L"");
        EXPECT_EQ(console.ExecuteCommand(L"program"), L"text");
    });
    EXPECT_EQ(machine.calls("CreateProcessA"), 4U);
}

} // namespace
} // namespace kovra
