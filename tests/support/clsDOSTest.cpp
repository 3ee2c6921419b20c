#include "support/clsDOS.h"

#include "support/product.h"

#include <gtest/gtest.h>

namespace kovra {
namespace {

TEST(ClsDOS, GivesTheWholeOutputAndNothingOfACommandThatDoesntRun) {
    InstalledMachine machine;
    ASSERT_TRUE(machine.codePage.set(932));
    machine.shell.consolePrograms["program"] = [](const std::string&) {
        return simulated::ConsoleRun{{{0, std::string(255, 'a') + "\x82\xA0"}, {100, "out"}}, 0};
    };
    machine.inside([&] {
        clsDOS console;
        for (int run = 0; run < 2; ++run)
            EXPECT_EQ(console.ExecuteCommand(L"program a b"), std::wstring(255, L'a') + L"\u3042out");
        EXPECT_GE(machine.calls("PeekMessageA"), 2U);
        EXPECT_EQ(console.ExecuteCommand(L"unknown"), L"");
        EXPECT_EQ(console.ExecuteCommand(L""), L"");
        machine.fail("CreatePipe", ERROR_ACCESS_DENIED, 1);
        EXPECT_EQ(console.ExecuteCommand(L"program"), L"");
    });
    EXPECT_EQ(machine.calls("CreateProcessA"), 3U);
}

} // namespace
} // namespace kovra
