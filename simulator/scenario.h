#pragma once

#include "simulator/pattern.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulation {

struct World;

/// What an expectation has found.
struct Verdict {
    bool holds;
    std::string seen; ///< what there is, for somebody who expected something else
};

using CarryOut = void (*)(World&, const Arguments&);
using Look = Verdict (*)(World&, const Arguments&);

/// What a line can say happens.
struct Event {
    std::string_view pattern;
    CarryOut carryOut;
};

/// What a line can expect.
struct Expectation {
    std::string_view pattern;
    Look look;
};

[[nodiscard]] std::span<const Event> allEvents();
[[nodiscard]] std::span<const Expectation> allExpectations();

/// A line's time: from the start of the play, or from where the line before has ended.
struct Moment {
    std::uint64_t ms;
    bool relative;
};

/// One line of a scenario. It carries something out or, as an expectation, looks.
struct Line {
    int number = 0;
    std::vector<std::string> heading; ///< the comments above it
    std::string text;                 ///< as it stands in the file, without its time
    std::optional<Moment> moment;
    Arguments arguments;
    std::string_view pattern; ///< of the event
    CarryOut carryOut = nullptr;
    std::string whenTraced; ///< the trace line that it waits for; empty: happens at its time
    Look look = nullptr;
    bool negated = false;
    std::uint64_t withinMs = 0;
};

struct Scenario {
    std::string file;
    std::string title; ///< the comment that it begins with
    std::vector<Line> lines;
    std::uint64_t longestMs = 0; ///< it ends by then
};

struct Mistake {
    int line;
    std::string wrong;
};

/// Reads a scenario's text. It is of use only when no mistake was found.
[[nodiscard]] Scenario readScenario(const std::string& file, std::string_view text,
                                    std::vector<Mistake>& mistakes);

} // namespace kovra::simulation
