#include "platform/simulated/codePage.h"

#include "platform/simulated/machine.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

namespace kovra::simulated {

namespace {

constexpr UINT westernEuropean = 1252;
constexpr UINT japanese = 932;

bool isPlain(wchar_t unit) {
    return unit >= 0 && unit < 0x80; // the same in every code page
}

struct ClosesConverter {
    using pointer = iconv_t;

    void operator()(iconv_t descriptor) const { iconv_close(descriptor); }
};

/// One direction of the C library's converter; null where it doesn't know the code pages.
using Converter = std::unique_ptr<void, ClosesConverter>;

Converter makeConverter(const std::string& to, const std::string& from) {
    const iconv_t descriptor = iconv_open(to.c_str(), from.c_str());
    return Converter{descriptor == iconv_t(-1) ? nullptr : descriptor};
}

/// Converts one character. 0, EILSEQ when the bytes are none, EINVAL when some are missing.
int convert(const Converter& converter, std::string_view character, std::string& result) {
    std::array<char, 8> output;
    char* in = const_cast<char*>(character.data());
    char* out = output.data();
    std::size_t inLeft = character.size();
    std::size_t outLeft = output.size();
    iconv(converter.get(), nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter.get(), &in, &inLeft, &out, &outLeft) == std::size_t(-1))
        return errno;
    iconv(converter.get(), nullptr, nullptr, &out, &outLeft); // one held back for what may follow it
    result.assign(output.data(), output.size() - outLeft);
    return 0;
}

std::wstring unitsOf(std::string_view littleEndian) {
    std::wstring text;
    for (std::size_t i = 0; i + 1 < littleEndian.size(); i += 2)
        text.push_back(static_cast<BYTE>(littleEndian[i]) | static_cast<BYTE>(littleEndian[i + 1]) << 8);
    return text;
}

std::string bytesOf(std::wstring_view units) {
    std::string littleEndian;
    for (const wchar_t unit : units)
        (littleEndian += static_cast<char>(unit & 0xFF)) += static_cast<char>(unit >> 8 & 0xFF);
    return littleEndian;
}

} // namespace

/// Both directions of one code page, character by character.
class Converters {
public:
    explicit Converters(UINT number)
        : toUnits(makeConverter("UTF-16LE", nameOf(number))),
          toBytes(makeConverter(nameOf(number), "UTF-16LE")),
          isUtf8(number == CP_UTF8),
          isJapanese(number == japanese) {}

    /// Takes the first character off the bytes.
    [[nodiscard]] std::wstring takeCharacter(std::string_view& bytes) const {
        std::string units;
        int error = EINVAL;
        std::size_t count = 0;
        while (error == EINVAL && count < bytes.size())
            error = convert(toUnits, bytes.substr(0, ++count), units);
        const BYTE first = static_cast<BYTE>(bytes[0]);
        // What could have become a character has one stand-in.
        if (error == EILSEQ && count > 1 && (isUtf8 || bytes[count - 1] == '\0'))
            --count;
        bytes.remove_prefix(count);
        if (error == 0)
            return unitsOf(units);
        if (isUtf8)
            return L"\xFFFD";
        // Bytes of a single-byte character that is left open stand for themselves, or in the Japanese code
        // page for characters of their own.
        if (error == EILSEQ && isJapanese && (first == 0xA0 || first >= 0xFD))
            return {static_cast<wchar_t>(first == 0xA0 ? 0xF8F0 : 0xF8F1 + first - 0xFD)};
        if (error == EILSEQ && count == 1 && first <= 0xA0)
            return {static_cast<wchar_t>(first)};
        return isJapanese ? L"\x30FB" : L"?";
    }

    /// Takes the first character off the text; empty when the code page lacks it.
    [[nodiscard]] std::optional<std::string> takeCharacter(std::wstring_view& text) const {
        std::string bytes;
        const bool isPair = convert(toBytes, bytesOf(text.substr(0, 1)), bytes) == EINVAL && isUtf8;
        const std::wstring_view character = text.substr(0, isPair ? 2 : 1);
        const wchar_t unit = text[0];
        text.remove_prefix(1);
        // What the converter takes for one alike doesn't come back.
        if (convert(toBytes, bytesOf(character), bytes) == 0 && comesBack(bytes, character)) {
            text.remove_prefix(character.size() - 1);
            return bytes;
        }
        const wchar_t code = isJapanese && unit == 0xF8F0  ? wchar_t{0xA0}
                             : isJapanese && unit > 0xF8F0 ? unit - 0xF8F1 + 0xFD
                                                           : unit;
        bytes.assign(1, static_cast<char>(code));
        if (code <= 0xFF && comesBack(bytes, {&unit, 1}))
            return bytes;
        return std::nullopt;
    }

    Converter toUnits;
    Converter toBytes;
    bool isUtf8;
    bool isJapanese;

private:
    static std::string nameOf(UINT number) {
        return number == CP_UTF8 ? "UTF-8" : "CP" + std::to_string(number);
    }

    [[nodiscard]] bool comesBack(std::string_view bytes, std::wstring_view character) const {
        return takeCharacter(bytes) == character && bytes.empty();
    }
};

CodePage::CodePage() {
    set(westernEuropean);
}

bool CodePage::set(UINT number) {
    auto converters = std::make_shared<const Converters>(number);
    if (!converters->toUnits || !converters->toBytes)
        return false;
    number_ = number;
    converters_ = std::move(converters);
    return true;
}

std::string CodePage::toAnsi(std::wstring_view text, bool* isComplete) const {
    std::string bytes;
    bytes.reserve(text.size());
    while (!text.empty()) {
        if (isPlain(text[0])) {
            bytes += static_cast<char>(text[0]);
            text.remove_prefix(1);
        } else if (const std::optional<std::string> character = converters_->takeCharacter(text)) {
            bytes += *character;
        } else {
            bytes += converters_->isUtf8 ? "\xEF\xBF\xBD" : "?";
            if (isComplete != nullptr)
                *isComplete = false;
        }
    }
    return bytes;
}

std::wstring CodePage::toWide(std::string_view bytes) const {
    std::wstring text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        if (isPlain(bytes[0])) {
            text += static_cast<wchar_t>(bytes[0]);
            bytes.remove_prefix(1);
        } else {
            text += converters_->takeCharacter(bytes);
        }
    }
    return text;
}

namespace {

/// The code page that a number stands for; empty when there is none.
std::optional<CodePage> codePageOf(UINT number) {
    CodePage codePage = machine().codePage;
    if (number != CP_ACP && !codePage.set(number))
        return std::nullopt;
    return codePage;
}

/// Hands a result over as both functions do: its size where no target is given, 0 where it doesn't fit.
template <typename Text, typename Character>
int handOver(const Text& result, Character* target, int targetSize) {
    const auto size = static_cast<int>(result.size());
    if (targetSize != 0)
        std::copy_n(result.begin(), std::min(size, targetSize), target);
    return targetSize != 0 && targetSize < size ? 0 : size;
}

/// The source, with its terminator where the size is -1.
template <typename Character>
std::basic_string_view<Character> sourceOf(const Character* source, int size) {
    return {source,
            size == -1 ? std::char_traits<Character>::length(source) + 1 : static_cast<std::size_t>(size)};
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceSize, LPWSTR target,
                        int targetSize) {
    const Call<"MultiByteToWideChar"> call;
    const std::optional<CodePage> page = codePageOf(codePage);
    if (call.fails() || !page || flags != 0)
        return 0;
    return handOver(page->toWide(sourceOf(source, sourceSize)), target, targetSize);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceSize, LPSTR target,
                        int targetSize, LPCSTR defaultCharacter, BOOL* usedDefaultCharacter) {
    const Call<"WideCharToMultiByte"> call;
    const std::optional<CodePage> page = codePageOf(codePage);
    call.expect(defaultCharacter == nullptr && usedDefaultCharacter == nullptr, "a character of one's own");
    if (call.fails() || !page)
        return 0;
    if (page->number() == CP_UTF8 && flags != 0) {
        setLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    call.expect(page->number() == CP_UTF8 || flags == WC_NO_BEST_FIT_CHARS, "characters that are alike");
    return handOver(page->toAnsi(sourceOf(source, sourceSize)), target, targetSize);
}
