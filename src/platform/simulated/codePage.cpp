#include "platform/simulated/codePage.h"

#include "platform/simulated/bestFit.h"
#include "platform/simulated/machine.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace kovra::simulated {

namespace {

constexpr UINT westernEuropean = 1252;
constexpr UINT japanese = 932;
constexpr std::size_t unitCount = 0x10000;
constexpr char replacementInUtf8[] = "\xEF\xBF\xBD"; // U+FFFD

/// One direction of the C library's converter.
class Converter {
public:
    Converter(const std::string& to, const std::string& from)
        : descriptor_(iconv_open(to.c_str(), from.c_str())) {}

    ~Converter() {
        if (*this)
            iconv_close(descriptor_);
    }

    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    explicit operator bool() const { return descriptor_ != iconv_t(-1); }

    /// Converts up to the end (0), to a wrong place (EILSEQ) or to a character that isn't whole (EINVAL), and
    /// appends the output. `source` is left where it stopped.
    int convert(std::string_view& source, std::string& output) const {
        iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
        char* input = const_cast<char*>(source.data());
        std::size_t inputLeft = source.size();
        int error = 0;
        do {
            std::array<char, 1024> piece;
            char* out = piece.data();
            std::size_t outLeft = piece.size();
            const bool failed = iconv(descriptor_, &input, &inputLeft, &out, &outLeft) == std::size_t(-1);
            error = failed ? errno : 0;
            if (!failed) // some code pages hold a character back for what may follow it
                iconv(descriptor_, nullptr, nullptr, &out, &outLeft);
            output.append(piece.data(), piece.size() - outLeft);
        } while (error == E2BIG);
        source.remove_prefix(source.size() - inputLeft);
        return error;
    }

private:
    iconv_t descriptor_;
};

std::string toLittleEndian(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size() * 2);
    for (const wchar_t unit : text) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8 & 0xFF));
    }
    return bytes;
}

void appendLittleEndian(std::string_view bytes, std::wstring& text) {
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        text.push_back(static_cast<BYTE>(bytes[i]) | static_cast<BYTE>(bytes[i + 1]) << 8);
}

std::wstring utf8ToText(std::string_view bytes) {
    const Converter converter{"UTF-16LE", "UTF-8"};
    std::wstring text;
    while (!bytes.empty()) {
        std::string units;
        const int error = converter.convert(bytes, units);
        appendLittleEndian(units, text);
        if (error == 0)
            break;
        // One stand-in for as much as could still have become a character.
        text.push_back(0xFFFD);
        std::size_t wrong = 1;
        for (std::size_t more = 2; more <= std::min<std::size_t>(3, bytes.size()); ++more) {
            std::string_view beginning = bytes.substr(0, more);
            std::string ignored;
            if (converter.convert(beginning, ignored) == EINVAL && beginning.size() == more)
                wrong = more;
        }
        bytes.remove_prefix(wrong);
    }
    return text;
}

std::string textToUtf8(std::wstring_view text) {
    const Converter converter{"UTF-8", "UTF-16LE"};
    const std::string units = toLittleEndian(text);
    std::string bytes;
    for (std::string_view rest = units; !rest.empty();) {
        if (converter.convert(rest, bytes) == 0)
            break;
        bytes += replacementInUtf8; // for half a surrogate pair
        rest.remove_prefix(2);
    }
    return bytes;
}

} // namespace

/// A code page of one or two bytes a character, both ways, each character of which is one UTF-16 code unit.
class CharacterTable {
public:
    /// The table of the code page with the number; null when the C library doesn't know it.
    static const CharacterTable* of(UINT number);

    [[nodiscard]] std::wstring toWide(std::string_view bytes) const {
        std::wstring text;
        if (pairs_.empty()) {
            text.resize(bytes.size());
            std::transform(bytes.begin(), bytes.end(), text.begin(),
                           [&](char byte) { return single_[static_cast<BYTE>(byte)]; });
            return text;
        }
        text.reserve(bytes.size());
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const BYTE byte = static_cast<BYTE>(bytes[i]);
            if (!isLead_[byte]) {
                text.push_back(single_[byte]);
            } else if (i + 1 == bytes.size() || bytes[i + 1] == '\0') {
                text.push_back(unknownBytes_);
            } else {
                text.push_back(pairs_[static_cast<std::size_t>(byte << 8 | static_cast<BYTE>(bytes[++i]))]);
            }
        }
        return text;
    }

    [[nodiscard]] std::string toAnsi(std::wstring_view text, std::string_view standIn, bool bestFit,
                                     bool& usedStandIn) const {
        std::string bytes(text.size(), '\0');
        std::size_t plain = 0; // characters of one byte at the beginning, mostly all of them
        for (; plain < text.size(); ++plain) {
            const WORD code = codeOf(text[plain]);
            if (code > 0xFF || (code == 0 && text[plain] != 0))
                break;
            bytes[plain] = static_cast<char>(code);
        }
        bytes.resize(plain);
        for (const wchar_t unit : text.substr(plain)) {
            WORD code = codeOf(unit);
            if (code == 0 && bestFit)
                if (const auto found = bestFit_.find(unit); found != bestFit_.end())
                    code = found->second;
            if (code == 0 && unit != 0) {
                bytes += standIn;
                usedStandIn = true;
                continue;
            }
            if (code > 0xFF)
                bytes.push_back(static_cast<char>(code >> 8));
            bytes.push_back(static_cast<char>(code & 0xFF));
        }
        return bytes;
    }

private:
    CharacterTable(UINT number, const Converter& toUnits, const Converter& fromUnits);

    void add(WORD code, wchar_t unit, const Converter& fromUnits);

    [[nodiscard]] WORD codeOf(wchar_t unit) const {
        const auto index = static_cast<char32_t>(unit);
        return index < unitCount ? codes_[index] : WORD{0};
    }

    wchar_t unknownBytes_;
    std::array<bool, 256> isLead_{};
    std::array<wchar_t, 256> single_{};
    std::vector<wchar_t> pairs_; // by lead byte and trail byte; empty in a code page without lead bytes
    std::vector<WORD> codes_ = std::vector<WORD>(unitCount); // by code unit; 0 where there is none
    std::map<wchar_t, BYTE> bestFit_;                        // known of one code page only
};

namespace {

std::optional<wchar_t> unitOf(const Converter& toUnits, std::string_view code, int& error) {
    std::string bytes;
    std::wstring text;
    error = toUnits.convert(code, bytes);
    appendLittleEndian(bytes, text);
    if (error != 0 || text.size() != 1)
        return std::nullopt;
    return text[0];
}

} // namespace

CharacterTable::CharacterTable(UINT number, const Converter& toUnits, const Converter& fromUnits)
    : unknownBytes_(number == japanese ? 0x30FB : L'?') {
    for (std::size_t byte = 0; byte < 256; ++byte) {
        int error = 0;
        const char code = static_cast<char>(byte);
        std::optional<wchar_t> unit = unitOf(toUnits, {&code, 1}, error);
        isLead_[byte] = error == EINVAL;
        // Windows lets the bytes that a code page leaves open in this range stand for themselves.
        if (!unit && !isLead_[byte] && byte <= 0xA0)
            unit = static_cast<wchar_t>(byte);
        single_[byte] = unit.value_or(unknownBytes_);
        if (unit)
            add(static_cast<WORD>(byte), *unit, fromUnits);
    }
    if (number == westernEuropean)
        for (const auto& [first, codes] : bestFitOf1252)
            for (std::size_t i = 0; i < codes.size(); ++i)
                bestFit_.emplace(first + static_cast<wchar_t>(i), static_cast<BYTE>(codes[i]));
    if (std::find(isLead_.begin(), isLead_.end(), true) == isLead_.end())
        return;
    pairs_.resize(unitCount, unknownBytes_);
    for (std::size_t code = 0x100; code < unitCount; ++code) {
        if (!isLead_[code >> 8])
            continue;
        int error = 0;
        const std::array<char, 2> bytes{static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
        const std::optional<wchar_t> unit = unitOf(toUnits, {bytes.data(), bytes.size()}, error);
        if (!unit)
            continue;
        pairs_[code] = *unit;
        add(static_cast<WORD>(code), *unit, fromUnits);
    }
}

/// Some characters have several codes; the converter knows which one stands for them.
void CharacterTable::add(WORD code, wchar_t unit, const Converter& fromUnits) {
    WORD& known = codes_[static_cast<std::size_t>(unit)];
    if (known == 0) {
        known = code;
        return;
    }
    const std::string units = toLittleEndian({&unit, 1});
    std::string_view source = units;
    std::string bytes;
    if (fromUnits.convert(source, bytes) == 0 && bytes.size() == (code > 0xFF ? 2U : 1U) &&
        static_cast<BYTE>(bytes.back()) == (code & 0xFF) &&
        static_cast<BYTE>(bytes[0]) == (code > 0xFF ? code >> 8 : code))
        known = code;
}

const CharacterTable* CharacterTable::of(UINT number) {
    static std::mutex mutex; // machines of several threads share the tables
    static std::map<UINT, std::unique_ptr<const CharacterTable>> tables;
    const std::scoped_lock lock{mutex};
    std::unique_ptr<const CharacterTable>& table = tables[number];
    if (table == nullptr) {
        const std::string name = "CP" + std::to_string(number);
        const Converter toUnits{"UTF-16LE", name};
        const Converter fromUnits{name, "UTF-16LE"};
        if (toUnits && fromUnits)
            table.reset(new CharacterTable{number, toUnits, fromUnits});
    }
    return table.get();
}

CodePage::CodePage() {
    set(westernEuropean);
}

bool CodePage::set(UINT number) {
    const CharacterTable* const table = number == CP_UTF8 ? nullptr : CharacterTable::of(number);
    if (table == nullptr && number != CP_UTF8)
        return false;
    number_ = number;
    table_ = table;
    return true;
}

std::string CodePage::toAnsi(std::wstring_view text) const {
    bool usedStandIn = false;
    return toAnsi(text, "?", true, usedStandIn);
}

std::string CodePage::toAnsi(std::wstring_view text, std::string_view standIn, bool bestFit,
                             bool& usedStandIn) const {
    usedStandIn = false;
    return table_ != nullptr ? table_->toAnsi(text, standIn, bestFit, usedStandIn) : textToUtf8(text);
}

std::wstring CodePage::toWide(std::string_view bytes) const {
    return table_ != nullptr ? table_->toWide(bytes) : utf8ToText(bytes);
}

namespace {

/// The code page that a number stands for; empty when there is none.
std::optional<CodePage> codePageOf(UINT number) {
    CodePage codePage = machine().codePage;
    if (number != CP_ACP && !codePage.set(number))
        return std::nullopt;
    return codePage;
}

/// Hands a result over as both functions do: its size where no target is given, else as much as fits.
template <typename Text, typename Character>
int handOver(const Text& result, Character* target, int targetSize) {
    if (targetSize == 0)
        return static_cast<int>(result.size());
    const std::size_t room = static_cast<std::size_t>(targetSize);
    std::copy_n(result.begin(), std::min(room, result.size()), target);
    if (result.size() <= room)
        return static_cast<int>(result.size());
    setLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
}

/// The source, with its terminator where the size is -1; empty when an argument is wrong.
template <typename Character>
std::optional<std::basic_string_view<Character>> sourceOf(const Character* source, int sourceSize,
                                                          const void* target, int targetSize) {
    const bool wrong = source == nullptr || sourceSize == 0 || sourceSize < -1 || targetSize < 0 ||
                       (target == nullptr && targetSize != 0) || static_cast<const void*>(source) == target;
    if (wrong)
        return std::nullopt;
    if (sourceSize == -1)
        return std::basic_string_view<Character>{source, std::char_traits<Character>::length(source) + 1};
    return std::basic_string_view<Character>{source, static_cast<std::size_t>(sourceSize)};
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceSize, LPWSTR target,
                        int targetSize) {
    const Call<"MultiByteToWideChar"> call;
    if (call.fails())
        return 0;
    const std::optional<CodePage> page = codePageOf(codePage);
    const auto bytes = sourceOf(source, sourceSize, target, targetSize);
    if (!page || !bytes || flags != 0) {
        setLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return handOver(page->toWide(*bytes), target, targetSize);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceSize, LPSTR target,
                        int targetSize, LPCSTR defaultCharacter, BOOL* usedDefaultCharacter) {
    const Call<"WideCharToMultiByte"> call;
    if (call.fails())
        return 0;
    const std::optional<CodePage> page = codePageOf(codePage);
    const auto text = sourceOf(source, sourceSize, target, targetSize);
    const bool hasDefault = defaultCharacter != nullptr || usedDefaultCharacter != nullptr;
    const bool bestFit = (flags & WC_NO_BEST_FIT_CHARS) == 0;
    if (!page || !text || (hasDefault && page->number() == CP_UTF8)) {
        setLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if ((flags & ~WC_NO_BEST_FIT_CHARS) != 0 || (!bestFit && page->number() == CP_UTF8)) {
        setLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    bool usedStandIn = false;
    const std::string bytes =
        page->toAnsi(*text, defaultCharacter != nullptr ? defaultCharacter : "?", bestFit, usedStandIn);
    if (usedDefaultCharacter != nullptr)
        *usedDefaultCharacter = usedStandIn ? TRUE : FALSE;
    return handOver(bytes, target, targetSize);
}
