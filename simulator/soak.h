#pragma once

#include "simulator/printer.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace kovra::simulation {

/// Gives the fewest lines of a failing scenario that still fail in the same way: ever smaller pieces are
/// taken out, until no single line can go.
[[nodiscard]] std::string cutDown(const std::string& scenario);

/// Plays the hour that the seed draws. When something does not hold in it, the events are cut down to the
/// fewest with which it still doesn't, and written as a scenario into the current folder. Gives what went
/// wrong with the file's name; empty when nothing did.
[[nodiscard]] std::string playRandomHour(std::uint32_t seed, Printer& printer);

/// Plays hours for so many seconds, drawn by `seed`, `seed + step` and so on, up to the first in which
/// something does not hold; `out` then has what came up in them, a name and a number a line. Gives what went
/// wrong, as above.
[[nodiscard]] std::string soak(std::uint64_t seconds, std::uint32_t seed, std::uint32_t step, std::FILE* out);

} // namespace kovra::simulation
