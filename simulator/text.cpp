#include "simulator/text.h"

#include "platform/simulated/codePage.h"

#include <charconv>
#include <cstdio>

namespace kovra::simulation {

namespace {

const simulated::CodePage& utf8CodePage() {
    static const simulated::CodePage codePage = [] {
        simulated::CodePage made;
        made.set(CP_UTF8);
        return made;
    }();
    return codePage;
}

template <typename Number>
std::optional<Number> parseDigits(std::string_view text) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc{} && result.ptr == end ? std::optional{number} : std::nullopt;
}

constexpr std::uint64_t msPerDay = 86'400'000;

/// Seconds with up to three decimals.
std::optional<std::uint64_t> parseSeconds(std::string_view text) {
    constexpr std::size_t decimals = 3;
    const std::size_t dot = text.find('.');
    const auto seconds = parseDigits<std::uint32_t>(text.substr(0, dot));
    if (!seconds || dot == std::string_view::npos)
        return seconds ? std::optional{std::uint64_t{*seconds} * 1000} : std::nullopt;
    std::string fraction{text.substr(dot + 1)};
    if (fraction.empty() || fraction.size() > decimals)
        return std::nullopt;
    fraction.resize(decimals, '0');
    const auto milliseconds = parseDigits<std::uint32_t>(fraction);
    return milliseconds ? std::optional{std::uint64_t{*seconds} * 1000 + *milliseconds} : std::nullopt;
}

} // namespace

std::wstring toWide(std::string_view utf8) {
    return utf8CodePage().toWide(utf8);
}

std::string toUtf8(std::wstring_view text) {
    return utf8CodePage().toAnsi(text);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos)
        return {};
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

std::optional<std::uint64_t> parseTime(std::string_view text) {
    std::uint64_t days = 0;
    if (const std::size_t mark = text.find('d'); mark != std::string_view::npos) {
        const auto number = parseDigits<std::uint16_t>(text.substr(0, mark));
        if (!number)
            return std::nullopt;
        days = *number;
        text.remove_prefix(mark + 1);
        if (text.empty())
            return days * msPerDay;
    }
    std::uint64_t minutes = 0;
    for (std::size_t colon = text.find(':'); colon != std::string_view::npos; colon = text.find(':')) {
        const auto number = parseDigits<std::uint16_t>(text.substr(0, colon));
        if (!number)
            return std::nullopt;
        minutes = minutes * 60 + *number;
        text.remove_prefix(colon + 1);
    }
    const auto seconds = parseSeconds(text);
    return seconds ? std::optional{days * msPerDay + minutes * 60'000 + *seconds} : std::nullopt;
}

std::string formatTime(std::uint64_t milliseconds) {
    char text[32];
    const auto part = [&](std::uint64_t unitMs, std::uint64_t count) {
        return static_cast<unsigned>(milliseconds / unitMs % count);
    };
    if (milliseconds < msPerDay)
        std::snprintf(text, sizeof text, "%u.%03u", part(1000, msPerDay), part(1, 1000));
    else
        std::snprintf(text, sizeof text, "%ud %02u:%02u:%02u.%03u", part(msPerDay, UINT16_MAX),
                      part(3'600'000, 24), part(60'000, 60), part(1000, 60), part(1, 1000));
    return text;
}

std::optional<std::int32_t> parseNumber(std::string_view text) {
    return parseDigits<std::int32_t>(text);
}

} // namespace kovra::simulation
