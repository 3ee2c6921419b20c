#include "fuzzers/fuzzing.h"

#include "simulator/text.h"
#include "simulator/windowsVersions.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace kovra::fuzzing {

namespace {

std::string escaped(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        char escape[5];
        std::snprintf(escape, sizeof escape, byte < ' ' || byte == '\\' ? "\\x%02X" : "%c",
                      static_cast<unsigned char>(byte));
        text += escape;
    }
    return text;
}

const bool disorderIsAFinding = [] {
    simulated::Machine::atEnd = [](const std::string& leftOpen) { mustHold(false, leftOpen); };
    return true;
}();

} // namespace

void mustHold(bool holds, std::string_view what) {
    if (holds)
        return;
    std::fprintf(stderr, "Does not hold: %s\n", std::string{what}.c_str());
    std::abort();
}

void mustEqual(std::string_view seen, std::string_view expected, std::string_view what) {
    if (seen != expected)
        mustHold(false,
                 std::string{what} + "\nseen:     " + escaped(seen) + "\nexpected: " + escaped(expected));
}

void mustEqual(std::wstring_view seen, std::wstring_view expected, std::string_view what) {
    if (seen != expected)
        mustEqual(simulation::toUtf8(seen), simulation::toUtf8(expected), what);
}

bool setWindowsFor(simulated::Machine& machine, std::string_view input) {
    constexpr const char* names[] = {"10", "xp", "vista"};
    const char* name = names[input.size() / 3 % std::size(names)]; // the code page changes with each byte
    machine.version = *simulation::findWindows(name);
    return std::string_view{name} == "xp";
}

bool areSame(const simulation::Beginning& before, const simulation::Beginning& now) {
    return before.files == now.files && before.registry == now.registry && before.services == now.services;
}

std::vector<std::string> linesOf(std::string_view file) {
    std::vector<std::string> lines(1);
    for (const char byte : file) {
        if (byte != '\n') {
            lines.back() += byte;
            continue;
        }
        if (lines.back().ends_with('\r'))
            lines.back().pop_back();
        lines.emplace_back();
    }
    return lines;
}

std::wstring withoutBlanks(std::wstring text) {
    while (!text.empty() && text.front() == L' ')
        text.erase(0, 1);
    while (!text.empty() && text.back() == L' ')
        text.pop_back();
    return text;
}

namespace {

void replaceAll(std::wstring& text, const std::wstring& from, const std::wstring& to) {
    for (std::size_t at = text.find(from); at != std::wstring::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

} // namespace

std::wstring filledMenu(std::wstring text, bool addMenu, const std::vector<std::wstring>& captions) {
    if (!addMenu)
        replaceAll(text, L"[", L"[-");
    replaceAll(text, L"%EXEPATH%", L"C:\\\\Kovra\\\\bin");
    replaceAll(text, L"%WWWPATH%", L"C:\\\\Kovra\\\\www");
    const wchar_t* places[] = {L"%SHAREMAINCAPTION%", L"%SHARECAPTION%", L"%SENDCAPTION%",
                               L"%PUBLISHCAPTION%"};
    for (std::size_t place = 0; place < std::size(places); ++place) {
        std::wstring caption = captions.at(place);
        replaceAll(caption, L"\"", L"''");
        replaceAll(text, places[place], caption);
    }
    return text;
}

} // namespace kovra::fuzzing

/// Memory is taken and given back all the time: with short stacks and a short memory of it a fuzzer is
/// faster.
extern "C" const char* __asan_default_options() {
    return "malloc_context_size=5:quarantine_size_mb=8:allow_addr2line=1";
}
