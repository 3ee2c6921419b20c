#include "support/text.h"

#include "platform/win32.h"

#include <algorithm>

namespace kovra {

namespace {

bool isPlain(wchar_t character) {
    return character < 0x80;
}

wchar_t upper(wchar_t character) {
    return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - L'a' + L'A') : character;
}

wchar_t lower(wchar_t character) {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

} // namespace

// Plain ASCII is the same in every ANSI code page, and nearly all of the launcher's text is that: it crosses
// without asking the system.

std::string toAnsi(std::wstring_view text) {
    if (std::all_of(text.begin(), text.end(), isPlain))
        return {text.begin(), text.end()};
    std::string bytes;
    const int length = static_cast<int>(text.size());
    // A quote or backslash of full width must not turn into a plain one, which would mean something.
    DWORD flags = WC_NO_BEST_FIT_CHARS;
    int size = WideCharToMultiByte(CP_ACP, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (size == 0 && GetLastError() == ERROR_INVALID_FLAGS) { // such as of UTF-8, which has every character
        flags = 0;
        size = WideCharToMultiByte(CP_ACP, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    }
    bytes.resize(static_cast<std::size_t>(size));
    WideCharToMultiByte(CP_ACP, flags, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring fromAnsi(std::string_view bytes) {
    if (std::all_of(bytes.begin(), bytes.end(), [](char byte) { return static_cast<BYTE>(byte) < 0x80; }))
        return {bytes.begin(), bytes.end()};
    std::wstring text;
    const int size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0);
    text.resize(static_cast<std::size_t>(length));
    MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text.data(), length);
    return text;
}

std::wstring fromAnsiBuffer(const char* buffer, std::size_t size) {
    return fromAnsi({buffer, static_cast<std::size_t>(std::find(buffer, buffer + size, '\0') - buffer)});
}

std::wstring_view upperFromAnsiBuffer(const char* buffer, std::size_t size, std::wstring& memory) {
    memory.resize(std::max(memory.size(), size));
    std::size_t length = 0;
    for (; length < size && buffer[length] != '\0'; ++length) {
        const auto character = static_cast<wchar_t>(static_cast<BYTE>(buffer[length]));
        if (!isPlain(character))
            return memory = toUpper(fromAnsiBuffer(buffer, size));
        memory[length] = upper(character);
    }
    return std::wstring_view{memory}.substr(0, length);
}

std::wstring toUpper(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(), upper);
    return text;
}

std::wstring toLower(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(), lower);
    return text;
}

std::wstring_view trim(std::wstring_view text) {
    const std::size_t first = text.find_first_not_of(L' ');
    if (first == std::wstring_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(L' ') - first + 1);
}

std::wstring decimal(std::int64_t number) {
    std::wstring digits;
    std::uint64_t rest =
        number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    do {
        digits.push_back(static_cast<wchar_t>(L'0' + rest % 10));
        rest /= 10;
    } while (rest != 0);
    if (number < 0)
        digits.push_back(L'-');
    std::reverse(digits.begin(), digits.end());
    return digits;
}

std::optional<std::int32_t> parseDecimal(std::wstring_view text) {
    const bool negative = text.starts_with(L'-');
    if (negative || text.starts_with(L'+'))
        text.remove_prefix(1);
    if (text.empty())
        return std::nullopt;
    const std::int64_t limit = negative ? 0x80000000LL : 0x7FFFFFFFLL;
    std::int64_t number = 0;
    for (const wchar_t character : text) {
        if (character < L'0' || character > L'9')
            return std::nullopt;
        number = number * 10 + (character - L'0');
        if (number > limit)
            return std::nullopt;
    }
    return static_cast<std::int32_t>(negative ? -number : number);
}

std::wstring_view fileNameOf(std::wstring_view path) {
    const std::size_t backslash = path.rfind(L'\\');
    return backslash == std::wstring_view::npos ? path : path.substr(backslash + 1);
}

std::wstring replaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to) {
    std::wstring result;
    result.reserve(text.size());
    std::size_t position = 0;
    for (;;) {
        const std::size_t match = text.find(from, position);
        result.append(text.substr(position, match - position));
        if (match == std::wstring_view::npos)
            return result;
        result.append(to);
        position = match + from.size();
    }
}

} // namespace kovra
