#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

constexpr UINT western = 1252;
constexpr UINT japanese = 932;

std::wstring wide(UINT codePage, const std::string& bytes) {
    const auto size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(codePage, 0, bytes.data(), size, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L' ');
    MultiByteToWideChar(codePage, 0, bytes.data(), size, text.data(), length);
    return text;
}

/// Without characters that are alike, where the code page lets one say so.
std::string ansi(UINT codePage, const std::wstring& text) {
    const DWORD flags = codePage == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS;
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), ' ');
    WideCharToMultiByte(codePage, flags, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

CONTRACT_TEST(CodePage, CharactersCross) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all.push_back(static_cast<char>(byte));
    EXPECT_EQ(ansi(western, wide(western, all)), all);
    EXPECT_EQ(wide(CP_ACP, all), wide(western, all));

    const struct {
        UINT codePage;
        const char* bytes; // null: the text's alone
        const wchar_t* text;
        const char* back; // null: the bytes
    } cases[] = {
        {western, "\x80\x81", L"\u20AC\x81", nullptr}, // what is left open stands for itself
        {japanese, "\xB1\x93\xFA\x95\x5C\\", L"\uFF71\u65E5\u8868\\",
         nullptr},                                     // the second one's trail byte is 5C
        {japanese, "\x93", L"\u30FB", "\x81\x45"},     // a lead byte alone
        {japanese, "\x87\x90", L"\u2252", "\x81\xE0"}, // has two codes
        {japanese, "\x80\xA0\xFD\xFE\xFF", L"\x80\xF8F0\xF8F1\xF8F2\xF8F3", nullptr},
        {japanese, nullptr, L"\u00E9", "?"},
        {western, nullptr, L"\xD83D\xDE00", "??"},               // each half of a pair by itself
        {western, nullptr, L"\u0102\uFF02\uFF3C\u221E", "????"}, // nor one that is alike
        {CP_UTF8, "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z", L"\u00E4\u20AC\xD83D\xDE00z", nullptr},
        {CP_UTF8, "a\xFFz\xE2\x82z", L"a\xFFFDz\xFFFDz", "a\xEF\xBF\xBDz\xEF\xBF\xBDz"},
        {CP_UTF8, "a\xE2\x82", L"a\xFFFD", "a\xEF\xBF\xBD"},
        {CP_UTF8, nullptr, L"\xD83Dz", "\xEF\xBF\xBDz"},
        {4711, "a", L"", ""}, // no code page
    };

    for (const auto& [codePage, bytes, text, back] : cases) {
        if (bytes != nullptr) {
            EXPECT_EQ(wide(codePage, bytes), text);
        }
        EXPECT_EQ(ansi(codePage, text), back != nullptr ? back : bytes);
    }
    EXPECT_BUT_NOT_UNDER_WINE(
        WideCharToMultiByte(CP_UTF8, WC_NO_BEST_FIT_CHARS, L"a", 1, nullptr, 0, nullptr, nullptr) == 0 &&
            GetLastError() == ERROR_INVALID_FLAGS,
        "it takes the flag");
}

} // namespace
} // namespace kovra::contract
