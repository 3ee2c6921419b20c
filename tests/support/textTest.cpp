#include "support/text.h"

#include "support/product.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

namespace kovra {
namespace {

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
    EXPECT_EQ(decimal(INT64_MIN), L"-9223372036854775808");
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

} // namespace
} // namespace kovra
