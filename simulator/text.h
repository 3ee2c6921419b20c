#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kovra::simulation {

// A scenario is UTF-8, and so is all that is printed.

[[nodiscard]] std::wstring toWide(std::string_view utf8);
[[nodiscard]] std::string toUtf8(std::wstring_view text);

/// Without the blanks and tabs at both ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// A time such as `90`, `1.5`, `2:30`, `12:00:00` or `24d20:31:23.648`, in milliseconds; empty when it is
/// none.
[[nodiscard]] std::optional<std::uint64_t> parseTime(std::string_view text);
/// Seconds with milliseconds, from a day on `1d 00:00:00.000`.
[[nodiscard]] std::string formatTime(std::uint64_t milliseconds);
[[nodiscard]] std::optional<std::int32_t> parseNumber(std::string_view text);

} // namespace kovra::simulation
