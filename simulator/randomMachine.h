#pragma once

#include "simulator/printer.h"

#include <cstdint>
#include <string>

namespace kovra::simulation {

/// Plays an hour in the life of the service, drawn by the seed: users, the application and pipe clients do
/// what they like, and what must always hold is looked at in every pass of the loop. Gives what went wrong,
/// empty when nothing did.
[[nodiscard]] std::string playRandomHour(std::uint32_t seed, const std::string& title, Printer& printer);

} // namespace kovra::simulation
