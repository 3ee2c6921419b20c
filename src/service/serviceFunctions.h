#pragma once

#include <cstdint>

namespace kovra {

/// The watchdog: keeps the application running in the session at the console with the right rights. Called
/// first in every pass of the main loop, with the number of the pass.
void watchSessions(std::int32_t pass);

} // namespace kovra
