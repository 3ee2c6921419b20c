#pragma once

#include "simulator/printer.h"
#include "simulator/scenario.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace kovra::simulation {

struct Outcome {
    int expectations = 0;
    int failures = 0;
    int neverCame = 0; ///< events whose trace line wasn't written
    std::uint64_t playedMs = 0;
    std::string broken; ///< what did not hold on a machine that is watched, for which the play ended
};

/// Counts what has come up in plays.
struct Tally {
    std::map<std::string_view, std::uint64_t> events; ///< of scenarios, by pattern
    std::map<std::string_view, std::uint64_t>
        branches;                ///< of the service, by the trace line that tells of it
    std::uint64_t launchers = 0; ///< processes

    /// Knows of all that can come up.
    [[nodiscard]] static Tally ofNothing();
    void happened(const simulated::Happening& happening);
};

/// Plays the scenario on a machine of its own. A failing expectation goes to `err` with what was seen
/// instead, and the play goes on; without an `err` it goes nowhere. At the end the machine must be clean,
/// whatever the scenario asks.
Outcome play(const Scenario& scenario, Printer& printer, std::FILE* err, Tally* tally = nullptr);

} // namespace kovra::simulation
