#include "fuzzers/fuzzing.h"

#include "simulator/text.h"

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

} // namespace kovra::fuzzing

/// Memory is taken and given back all the time: with short stacks and a short memory of it a fuzzer is
/// faster.
extern "C" const char* __asan_default_options() {
    return "malloc_context_size=5:quarantine_size_mb=8:allow_addr2line=1";
}
