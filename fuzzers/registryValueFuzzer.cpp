// The input is a value of the registry: one byte for its type, then what it holds.

#include "fuzzers/fuzzing.h"
#include "integration/contextMenu.h"
#include "integration/modRegistry.h"

#include <algorithm>
#include <cstring>

namespace kovra::fuzzing {
namespace {

constexpr DWORD binaryType = 3;
constexpr const wchar_t* keyPath = L"Directory\\Shell\\KOVRA.share";

using Value = simulated::Registry::Value;

std::string storedBytes(const simulated::Machine& machine) {
    const Value value = *machine.registry.value(keyPath, L"");
    return value.type == REG_SZ ? machine.codePage.toAnsi(value.text) : value.bytes;
}

/// What of the stored bytes is read: all but the terminator and the blanks at the ends.
std::wstring read(const simulated::Machine& machine) {
    constexpr std::size_t most = 4096;
    const std::string bytes = storedBytes(machine);
    if (bytes.empty() || bytes.size() > most)
        return {};
    return withoutBlanks(machine.codePage.toWide(std::string_view{bytes}.substr(0, bytes.size() - 1)));
}

void look(const simulated::Machine& machine) {
    const std::wstring text = regQueryString(HKEY_CLASSES_ROOT, keyPath, L"");
    mustEqual(text, read(machine), "the value");
    mustEqual(regQueryString(HKEY_CLASSES_ROOT, std::wstring{keyPath} + L"\\", L""), text, "the same key");
    mustHold(isContextMenuRegistered() == !text.empty(), "a text that isn't empty is a menu");
}

/// The number that a text is, blanks at its ends apart.
std::optional<std::int64_t> numberOf(const std::wstring& text) {
    std::wstring digits = withoutBlanks(text);
    const bool isNegative = digits.starts_with(L'-');
    if (isNegative || digits.starts_with(L'+'))
        digits.erase(0, 1);
    const bool isNumber = !digits.empty() && std::all_of(digits.begin(), digits.end(), [](wchar_t digit) {
        return digit >= L'0' && digit <= L'9';
    });
    digits.erase(0, digits.find_first_not_of(L'0'));
    if (!isNumber || digits.size() > 10)
        return std::nullopt;
    const std::int64_t number = (isNegative ? -1 : 1) * (digits.empty() ? 0 : std::stoll(digits));
    return number == static_cast<std::int32_t>(number) ? std::optional{number} : std::nullopt;
}

/// Writes the text as a value of each type.
void write(const simulated::Machine& machine, const std::wstring& text) {
    const auto set = [&](DWORD type) { return regSetValue(HKEY_CLASSES_ROOT, keyPath, L"", text, type); };
    const std::string before = storedBytes(machine);
    mustHold(set(binaryType) && storedBytes(machine) == before, "another type writes nothing");
    const std::optional<std::int64_t> number = numberOf(text);
    mustHold(set(REG_DWORD) == number.has_value(), "a number is written, and nothing else as one");
    std::string bytes = before;
    if (number) {
        const auto stored = static_cast<std::int32_t>(*number);
        bytes.assign(sizeof stored, '\0');
        std::memcpy(bytes.data(), &stored, sizeof stored);
    }
    mustEqual(storedBytes(machine), bytes, "the number's four bytes");
    look(machine);
    mustHold(set(REG_SZ), "a text is written");
    // Its bytes and the terminator, once more through the code page as the registry keeps text.
    const simulated::CodePage& page = machine.codePage;
    mustEqual(storedBytes(machine), page.toAnsi(page.toWide(page.toAnsi(text) + '\0')), "the text's bytes");
    look(machine);
}

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    if (size == 0)
        return 0;
    const std::string bytes{bytesOf(data, size).substr(1)};
    kovra::simulated::Machine machine;
    machine.codePage.set(codePageFor(bytes));
    const std::wstring text = machine.codePage.toWide(bytes);
    Value value{static_cast<DWORD>(*data % 12), {}, {}}; // REG_NONE to REG_QWORD
    if (value.type == REG_SZ)
        value.text = text;
    else
        value.bytes = bytes;
    machine.registry.set(keyPath, L"", value);
    machine.inside([&] {
        look(machine);
        if (text.size() < 300) // long ones take long
            write(machine, text);
    });
    return 0;
}
