#pragma once

#include "platform/simulated/win32.h"

#include <string>
#include <string_view>

namespace kovra::simulated {

class CharacterTable;

/// The machine's ANSI code page. Wide text holds UTF-16 code units, as on Windows: a character beyond U+FFFF
/// is two of them.
class CodePage {
public:
    /// Windows-1252.
    CodePage();

    /// Sets the code page by its number, such as 932 or 65001 (UTF-8). No, and nothing changes, when it is
    /// unknown.
    bool set(UINT number);

    [[nodiscard]] UINT number() const { return number_; }

    /// The text's bytes, as Windows' A functions give them: a character that the code page lacks becomes one
    /// that is alike (known of 1252 only), else `?`.
    [[nodiscard]] std::string toAnsi(std::wstring_view text) const;
    /// The same with another stand-in, telling whether it was needed, and with or without the characters
    /// alike.
    [[nodiscard]] std::string toAnsi(std::wstring_view text, std::string_view standIn, bool bestFit,
                                     bool& usedStandIn) const;
    /// The bytes as text; bytes that stand for no character become the code page's stand-in for them.
    [[nodiscard]] std::wstring toWide(std::string_view bytes) const;

private:
    UINT number_;
    const CharacterTable* table_; // null: UTF-8
};

} // namespace kovra::simulated
