#pragma once

#include <cstdint>
#include <string>

namespace kovra::simulation {

/// Draws an hour in the life of a machine with the service on it, as the text of a scenario that is watched.
/// Each seed draws its own mix of what happens and how often. The same seed gives the same text.
[[nodiscard]] std::string drawHour(std::uint32_t seed);

} // namespace kovra::simulation
