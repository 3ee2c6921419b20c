#include "support/text.h"

#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

namespace kovra {
namespace {

TEST(Text, CrossesTheMachinesCodePageBothWays) {
    InstalledMachine machine;
    machine.inside([] {
        EXPECT_EQ(toAnsi(L"a\u20AC\u3042"), "a\x80?");
        EXPECT_EQ(toAnsi(L"\u00E9\u0102\uFF02\uFF3C"), "\xE9???") << "no character that is only alike";
        EXPECT_EQ(fromAnsi("a\x80\xE9"), L"a\u20AC\u00E9");
        EXPECT_EQ(fromAnsi({"a\0b", 3}), (std::wstring{L"a\0b", 3}));
        EXPECT_EQ(toAnsi({L"a\0b", 3}), (std::string{"a\0b", 3}));
        EXPECT_EQ(fromAnsiBuffer("ab\0cd", 5), L"ab");
        EXPECT_EQ(fromAnsiBuffer("abcd", 2), L"ab");
    });
    ASSERT_TRUE(machine.codePage.set(932));
    machine.inside([] {
        EXPECT_EQ(toAnsi(L"a\u3042\u00E9"), "a\x82\xA0?");
        EXPECT_EQ(fromAnsi("a\x82\xA0"), L"a\u3042");
    });
    ASSERT_TRUE(machine.codePage.set(CP_UTF8));
    machine.inside([] { EXPECT_EQ(toAnsi(L"\u0102\uFF02"), "\xC4\x82\xEF\xBC\x82"); });
}

TEST(Text, DecimalNumbersGoBothWaysWithinTheirRange) {
    for (const std::int32_t number : {0, 7, -1, 10, INT32_MAX, INT32_MIN})
        EXPECT_EQ(parseDecimal(decimal(number)), number);
    EXPECT_EQ(decimal(INT64_MIN), L"-9223372036854775808");
    EXPECT_EQ(decimal(UINT32_MAX), L"4294967295");
    EXPECT_EQ(parseDecimal(L"+0012"), 12);
    for (const wchar_t* bad : {L"", L"-", L"+", L"--1", L"1 ", L" 1", L"1:", L"0x1", L"1e3", L"2147483648",
                               L"-2147483649", L"99999999999999999999999", L"\u0661"})
        EXPECT_EQ(parseDecimal(bad), std::nullopt);
}

TEST(Text, TakesApartAndReplaces) {
    EXPECT_EQ(trim(L"  a b\t "), L"a b\t");
    EXPECT_EQ(trim(L"   "), L"");
    EXPECT_EQ(toUpper(L"azZ_1\u00E9"), L"AZZ_1\u00E9");
    EXPECT_EQ(toLower(L"aZ_1\u00C9"), L"az_1\u00C9");
    EXPECT_EQ(fileNameOf(L"C:\\a\\b.c"), L"b.c");
    EXPECT_EQ(fileNameOf(L"b.c"), L"b.c");
    EXPECT_EQ(fileNameOf(L"C:\\"), L"");
    EXPECT_EQ(replaceAll(L"aaa", L"aa", L"a"), L"aa");
    EXPECT_EQ(replaceAll(L"[x][", L"[", L"[-"), L"[-x][-");
}

} // namespace
} // namespace kovra
