#include "platform/simulated/caseless.h"

#include <algorithm>

namespace kovra::simulated {

namespace {

wchar_t upper(wchar_t character) {
    const bool isLower = (character >= L'a' && character <= L'z') ||
                         (character >= 0xE0 && character <= 0xFE && character != 0xF7);
    return isLower ? character - 0x20 : character;
}

char lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 0x20) : character;
}

} // namespace

bool Caseless::operator()(std::wstring_view left, std::wstring_view right) const {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](wchar_t one, wchar_t other) { return upper(one) < upper(other); });
}

bool sameName(std::wstring_view one, std::wstring_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](wchar_t left, wchar_t right) { return upper(left) == upper(right); });
}

bool sameAnsiName(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char left, char right) { return lower(left) == lower(right); });
}

std::string lowerCase(std::string_view text) {
    std::string result{text};
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

} // namespace kovra::simulated
