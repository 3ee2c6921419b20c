// The input is a scenario file.

#include "fuzzers/fuzzing.h"
#include "simulator/player.h"

#include <algorithm>
#include <cstdio>

namespace kovra::fuzzing {
namespace {

/// Each mistake is one of a line of the file.
void judge(const std::vector<simulation::Mistake>& mistakes, std::string_view text) {
    const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
    for (const simulation::Mistake& mistake : mistakes)
        mustHold(mistake.line >= 1 && mistake.line <= lines && !mistake.wrong.empty(),
                 "a mistake has its line");
}

/// What can be played for a moment is played.
void playShort(const simulation::Scenario& scenario) {
    constexpr std::uint64_t longestMs = 20'000;
    constexpr std::size_t mostLines = 30;
    if (scenario.longestMs > longestMs || scenario.lines.size() > mostLines)
        return;
    static std::FILE* const nowhere = std::fopen("/dev/null", "w");
    simulation::Printer printer{nowhere, true};
    const simulation::Outcome outcome = simulation::play(scenario, printer, nowhere);
    mustHold(outcome.failures <= outcome.expectations && outcome.playedMs <= longestMs + 1,
             "a play fails no more than it expects, and ends in time");
}

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    const std::string_view text = bytesOf(data, size);
    std::vector<kovra::simulation::Mistake> mistakes;
    const kovra::simulation::Scenario scenario = kovra::simulation::readScenario("input", text, mistakes);
    judge(mistakes, text);
    if (mistakes.empty())
        playShort(scenario);
    return 0;
}
