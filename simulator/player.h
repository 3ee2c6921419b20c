#pragma once

#include "simulator/printer.h"
#include "simulator/scenario.h"

#include <cstdint>

namespace kovra::simulation {

struct Outcome {
    int expectations = 0;
    int failures = 0;
    int neverCame = 0; ///< events whose trace line wasn't written
    std::uint64_t playedMs = 0;
};

/// Plays the scenario on a machine of its own. A failing expectation goes to `err` with what was seen
/// instead, and the play goes on. At the end the machine must be clean, whatever the scenario asks.
Outcome play(const Scenario& scenario, Printer& printer, std::FILE* err);

} // namespace kovra::simulation
