#include "platform/simulated/caseless.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cwctype>
#include <locale.h>

namespace kovra::simulated {

namespace {

/// The C library's own upper case for each UTF-16 code unit.
std::array<wchar_t, 0x10000> makeTable() {
    std::array<wchar_t, 0x10000> table{};
    const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    for (std::size_t unit = 0; unit < table.size(); ++unit) {
        const wint_t character = static_cast<wint_t>(unit);
        const wint_t upper = unicode != nullptr ? towupper_l(character, unicode) : std::towupper(character);
        table[unit] = static_cast<wchar_t>(upper < table.size() ? upper : character);
    }
    if (unicode != nullptr)
        freelocale(unicode);
    return table;
}

} // namespace

wchar_t upperCase(wchar_t character) {
    if (character >= 0 && character < 0x80)
        return character >= L'a' && character <= L'z' ? character - (L'a' - L'A') : character;
    static const std::array<wchar_t, 0x10000> table = makeTable();
    const auto unit = static_cast<char32_t>(character);
    return unit < table.size() ? table[unit] : character;
}

bool Caseless::operator()(std::wstring_view left, std::wstring_view right) const {
    const std::size_t common = left.size() < right.size() ? left.size() : right.size();
    for (std::size_t i = 0; i < common; ++i) {
        if (left[i] == right[i])
            continue;
        const wchar_t leftCharacter = upperCase(left[i]);
        const wchar_t rightCharacter = upperCase(right[i]);
        if (leftCharacter != rightCharacter)
            return leftCharacter < rightCharacter;
    }
    return left.size() < right.size();
}

bool sameName(std::wstring_view one, std::wstring_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](wchar_t left, wchar_t right) { return upperCase(left) == upperCase(right); });
}

} // namespace kovra::simulated
