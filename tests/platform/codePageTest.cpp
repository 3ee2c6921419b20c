#include "platform/simulated/machine.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace kovra::simulated {
namespace {

std::wstring allBytesAsText(const CodePage& codePage, std::string& bytes) {
    for (int byte = 0; byte < 256; ++byte)
        bytes.push_back(static_cast<char>(byte));
    return codePage.toWide(bytes);
}

TEST(CodePage, WesternEuropeanGivesEveryByteBack) {
    const CodePage codePage;
    std::string bytes;
    const std::wstring text = allBytesAsText(codePage, bytes);
    EXPECT_EQ(codePage.toAnsi(text), bytes);
    EXPECT_EQ(text[0x80], L'\u20AC');
    for (const std::size_t open : {0x81U, 0x8DU, 0x8FU, 0x90U, 0x9DU})
        EXPECT_EQ(text[open], static_cast<wchar_t>(open));
    EXPECT_EQ(text[0xE4], L'\u00E4');
}

TEST(CodePage, WhatItLacksBecomesAQuestionMark) {
    const CodePage codePage;
    EXPECT_EQ(codePage.toAnsi(L"a\u4E2Db"), "a?b");
    EXPECT_EQ(codePage.toAnsi(L"\xD83D\xDE00"), "??"); // each half of a pair by itself
    bool isComplete = true;
    EXPECT_EQ(codePage.toAnsi(L"\u0102\u00C4\uFF3C", &isComplete), "?\xC4?") << "nor one that is alike";
    EXPECT_FALSE(isComplete);
}

TEST(CodePage, DoubleByteCharactersCrossAsTwoBytes) {
    CodePage codePage;
    ASSERT_TRUE(codePage.set(932));
    const std::string leftOpen = "\x80\xA0\xFD\xFE\xFF";
    EXPECT_EQ(codePage.toWide(leftOpen), L"\x80\xA0\xF8F1\xF8F2\xF8F3");
    EXPECT_EQ(codePage.toAnsi(codePage.toWide(leftOpen)), leftOpen);
    EXPECT_EQ(codePage.toAnsi(L"a\u65E5\u8868\\"),
              "a\x93\xFA\x95\x5C\\"); // the second one's trail byte is 5C
    EXPECT_EQ(codePage.toWide("a\x93\xFA\x95\x5C\\"), L"a\u65E5\u8868\\");
    EXPECT_EQ(codePage.toWide("\xB1"), L"\uFF71");
    EXPECT_EQ(codePage.toAnsi(L"\u00E9"), "?");
    EXPECT_EQ(codePage.toWide("\x93"), L"\u30FB");     // a lead byte alone
    EXPECT_EQ(codePage.toAnsi(L"\u2252"), "\x81\xE0"); // has a second code, 87 90
}

TEST(CodePage, AnUnknownNumberChangesNothing) {
    CodePage codePage;
    EXPECT_FALSE(codePage.set(4711));
    EXPECT_EQ(codePage.number(), 1252U);
    EXPECT_EQ(codePage.toAnsi(L"\u00E4"), "\xE4");
}

TEST(CodePage, Utf8HasSurrogatePairsAndAStandInForWhatIsBroken) {
    CodePage codePage;
    ASSERT_TRUE(codePage.set(CP_UTF8));
    EXPECT_EQ(codePage.toWide("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z"), L"\u00E4\u20AC\xD83D\xDE00z");
    EXPECT_EQ(codePage.toAnsi(L"\u00E4\u20AC\xD83D\xDE00z"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z");
    EXPECT_EQ(codePage.toWide("a\xFF"
                              "b"),
              L"a\xFFFD"
              L"b");
    EXPECT_EQ(codePage.toWide("a\xE2\x82"), L"a\xFFFD");
    EXPECT_EQ(codePage.toWide("\xE2\x82z"), L"\xFFFDz");
    EXPECT_EQ(codePage.toAnsi(L"a\xD83Dz"), "a\xEF\xBF\xBDz");
    const std::string longText(3000, '\xC3'); // longer than one piece of the converter's, all of it broken
    EXPECT_EQ(codePage.toWide(longText), std::wstring(3000, L'\xFFFD'));
}

TEST(CodePage, FunctionsMeasureAndConvert) {
    Machine machine;
    machine.inside([] {
        const std::string bytes = "\xC3\xA4\xF0\x9F\x98\x80";
        const int length = static_cast<int>(bytes.size());
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), length, nullptr, 0), 3);
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), -1, nullptr, 0), 4);

        // With the terminator it doesn't fit, but what fits is there.
        std::wstring text(3, L'\0');
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), -1, text.data(), 3), 0);
        EXPECT_EQ(text, L"\u00E4\xD83D\xDE00");

        std::array<char, 8> ansi{};
        EXPECT_EQ(WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, L"\u00E4\u4E2D", -1, ansi.data(), 8,
                                      nullptr, nullptr),
                  3);
        EXPECT_STREQ(ansi.data(), "\xE4?");
        EXPECT_EQ(
            WideCharToMultiByte(CP_UTF8, WC_NO_BEST_FIT_CHARS, L"a", 1, ansi.data(), 8, nullptr, nullptr), 0);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_FLAGS);

        EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a", 0, nullptr, 0), 0);
        EXPECT_EQ(MultiByteToWideChar(4711, 0, "a", 1, nullptr, 0), 0);
    });
}

} // namespace
} // namespace kovra::simulated
