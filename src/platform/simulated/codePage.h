#pragma once

#include "platform/simulated/win32.h"

#include <memory>
#include <string>
#include <string_view>

namespace kovra::simulated {

class Converters;

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

    /// The text's bytes; a character that the code page lacks becomes `?`, in UTF-8 U+FFFD, and makes
    /// `isComplete` false.
    [[nodiscard]] std::string toAnsi(std::wstring_view text, bool* isComplete = nullptr) const;
    /// The bytes as text; bytes that stand for no character become the code page's stand-in for them.
    [[nodiscard]] std::wstring toWide(std::string_view bytes) const;

private:
    UINT number_ = 0;
    std::shared_ptr<const Converters> converters_;
};

} // namespace kovra::simulated
