#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The crossings between wide text and the machine's ANSI code page, and the few text routines that all share.

namespace kovra {

/// The text's bytes in the ANSI code page; a character that it lacks becomes its default character ("?"),
/// never one that only looks like it.
[[nodiscard]] std::string toAnsi(std::wstring_view text);

/// The bytes, taken as text in the ANSI code page. A byte 0 is a character like any other.
[[nodiscard]] std::wstring fromAnsi(std::string_view bytes);

/// The bytes of an ANSI text that ends at its first byte 0, or at the end of its buffer.
[[nodiscard]] std::wstring fromAnsiBuffer(const char* buffer, std::size_t size);

/// Letters A to Z in upper or in lower case, all other characters as they are: enough for names that are
/// compared with the product's own, which are plain.
[[nodiscard]] std::wstring toUpper(std::wstring text);
[[nodiscard]] std::wstring toLower(std::wstring text);

/// What `toUpper` makes of an ANSI buffer's text. It lies in `memory`, which a next call uses again.
[[nodiscard]] std::wstring_view upperFromAnsiBuffer(const char* buffer, std::size_t size,
                                                    std::wstring& memory);

/// The text without blanks (U+0020 only) at both ends.
[[nodiscard]] std::wstring_view trim(std::wstring_view text);

/// The text in decimal.
[[nodiscard]] std::wstring decimal(std::int64_t number);

/// The number that the text is, sign and decimal digits alone; empty when it is none of the signed 32-bit
/// range.
[[nodiscard]] std::optional<std::int32_t> parseDecimal(std::wstring_view text);

/// What stands behind the path's last backslash; the whole path without one.
[[nodiscard]] std::wstring_view fileNameOf(std::wstring_view path);

/// A copy with every occurrence of `from`, left to right, replaced by `to`. `from` must not be empty.
[[nodiscard]] std::wstring replaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to);

} // namespace kovra
