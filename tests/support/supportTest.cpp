#include "frontend/installationPaths.h"
#include "support/clsDOS.h"
#include "support/product.h"
#include "support/settings.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

namespace kovra {
namespace {

TEST(ClsDOS, GivesTheWholeOutputAndNothingOfACommandThatDoesntRun) {
    InstalledMachine machine;
    ASSERT_TRUE(machine.codePage.set(932));
    machine.shell.consolePrograms["program"] = [](const std::string&) {
        return simulated::ConsoleRun{{{0, std::string(255, 'a') + "\x82\xA0"}, {100, "out"}}, 0};
    };
    clsDOS console; // outlives the launcher, which must have closed all
    machine.inside([&] {
        for (int run = 0; run < 2; ++run)
            EXPECT_EQ(console.ExecuteCommand(L"program a b"), std::wstring(255, L'a') + L"\u3042out");
        EXPECT_GE(machine.calls("PeekMessageA"), 2U);
        EXPECT_EQ(console.ExecuteCommand(L""), L"");
        machine.fail("CreatePipe", ERROR_ACCESS_DENIED, 1);
        EXPECT_EQ(console.ExecuteCommand(L"program"), L"");
    });
    EXPECT_EQ(machine.calls("CreateProcessA"), 2U);
    machine.inside([&] { EXPECT_EQ(console.ExecuteCommand(L"unknown"), L""); });
}

TEST(Settings, AreLinesWithAKeyAndAValue) {
    InstalledMachine machine;
    machine.set("word\r\n  a  =  b=c  \r\na=late\r\n\ttab=\t2");
    machine.inside([] {
        ASSERT_TRUE(initPaths());
        EXPECT_EQ(readIniValue(L"a"), L"b=c");
        EXPECT_EQ(readIniValue(L"A"), L"");
        EXPECT_EQ(readIniValue(L"\ttab"), L"\t2");
    });
}

TEST(Translation, TakesWhatStandsBehindKeyAndSeparator) {
    InstalledMachine machine;
    machine.files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php",
                        "//a: caf\xC3\xA9 \r\n //in=no\r\n//bare\r\n//a=last\r\n//z=1");
    machine.inside([&] {
        ASSERT_TRUE(initPaths());
        EXPECT_EQ(getTranslation(L"a", true), L"#a#") << "without a language";
        machine.set("language=en");
        EXPECT_EQ(getTranslation(L"a", false), L" caf\u00E9 ");
        for (const char* function : {"TextStream.ReadLine", "TextStream.AtEndOfStream"}) {
            machine.fail(function, ERROR_ACCESS_DENIED, 1, 1); // behind one line
            EXPECT_EQ(getTranslation(L"z", true), std::nullopt) << function;
        }
        EXPECT_EQ(getTranslation(L"a", true), L"last") << "while the catalogue is loaded";
        machine.fail("FileSystemObject.GetFile", ERROR_ACCESS_DENIED); // all else is in memory
        EXPECT_EQ(getTranslation(L"a", true), L" caf\u00E9 ");
        EXPECT_EQ(getTranslation(L"bare", true), L"");
        EXPECT_EQ(getTranslation(L"in", true), L"#in#");
        EXPECT_EQ(getTranslation(L"z", false), L"1");
    });
}

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

TEST(Text, CrossesTheMachinesCodePageBothWays) {
    InstalledMachine machine;
    machine.inside([] {
        EXPECT_EQ(toAnsi(L"a\u20AC\u00E9\uFF02\uFF3C"), "a\x80\xE9??") << "no character that is only alike";
        EXPECT_EQ(fromAnsi({"a\0\x80\xE9", 4}), (std::wstring{L"a\0\u20AC\u00E9", 4}));
        EXPECT_EQ(fromAnsiBuffer("abcd", 2), L"ab");
    });
    ASSERT_TRUE(machine.codePage.set(CP_UTF8));
    machine.inside([] { EXPECT_EQ(toAnsi(L"\u0102\uFF02"), "\xC4\x82\xEF\xBC\x82"); });
}

TEST(Text, DecimalNumbersGoBothWaysWithinTheirRange) {
    for (const std::int32_t number : {7, -10, INT32_MAX, INT32_MIN})
        EXPECT_EQ(parseDecimal(decimal(number)), number);
    EXPECT_EQ(parseDecimal(L"+0012"), 12);
    for (const wchar_t* bad : {L"", L"-", L"--1", L"1 ", L"1:", L"2147483648", L"-2147483649"})
        EXPECT_EQ(parseDecimal(bad), std::nullopt) << bad;
}

TEST(Text, TakesApartAndReplaces) {
    EXPECT_EQ(trim(L"  a b\t "), L"a b\t");
    EXPECT_EQ(trim(L"   "), L"");
    EXPECT_EQ(toUpper(L"aZ_z\u00E9"), L"AZ_Z\u00E9");
    EXPECT_EQ(toLower(L"aZ_A\u00C9"), L"az_a\u00C9");
    EXPECT_EQ(replaceAll(L"aaa", L"aa", L"a"), L"aa");
}

TEST(Trace, WritesNothingWhereItCantTellTheFile) {
    InstalledMachine machine;
    machine.inside([&] {
        for (const char* function : {"isLinked", "pathOnVolume"}) {
            machine.fail(function, ERROR_ACCESS_DENIED, 1);
            writeLog(L"lost");
        }
    });
    EXPECT_THAT(machine.traceLines, testing::IsEmpty());
}

} // namespace
} // namespace kovra
