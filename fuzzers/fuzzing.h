#pragma once

#include "simulator/world.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

// What the fuzzers share. Each input meets a machine of its own, so it shows the same whenever it is tried;
// at the machine's end nothing may be misused or left open.

namespace kovra::fuzzing {

/// Ends the program, with a word on what doesn't hold: the input is then a finding.
void mustHold(bool holds, std::string_view what);

/// The same where two texts differ, and shows them.
void mustEqual(std::string_view seen, std::string_view expected, std::string_view what);
void mustEqual(std::wstring_view seen, std::wstring_view expected, std::string_view what);

/// The input as text.
[[nodiscard]] inline std::string_view bytesOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// The machine's code page, which the input's size chooses: one of a byte each, one of two, one that has
/// every character.
[[nodiscard]] inline UINT codePageFor(std::string_view input) {
    constexpr UINT pages[] = {1252, 932, CP_UTF8};
    return pages[input.size() % std::size(pages)];
}

/// Gives the machine one of the three kinds of Windows between which the launcher chooses, by the input's
/// size; yes for one before Windows Vista.
bool setWindowsFor(simulated::Machine& machine, std::string_view input);

/// What lies on the machine is what lay there at the former look.
[[nodiscard]] bool areSame(const simulation::Beginning& before, const simulation::Beginning& now);

/// The lines of a file, which end in LF or in CR LF; what stands behind the last end is one too.
[[nodiscard]] std::vector<std::string> linesOf(std::string_view file);

/// The text without blanks at its ends.
[[nodiscard]] std::wstring withoutBlanks(std::wstring text);

/// What the template becomes, one replacement behind the other.
[[nodiscard]] std::wstring filledMenu(std::wstring text, bool addMenu,
                                      const std::vector<std::wstring>& captions);

} // namespace kovra::fuzzing

/// What libFuzzer calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
