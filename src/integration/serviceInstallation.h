#pragma once

#include <cstdint>

// The product's services in the service manager of this machine.

namespace kovra {

/// Creates the service "Kovra" for the launcher in its folder, started at boot as LocalSystem, and doesn't
/// start it. Resolves the paths anew ahead of each of its three attempts, a second apart. No when none
/// worked, also because the service exists already; that has then been reported.
[[nodiscard]] bool installServices();

/// Removes "Kovra", and with it the services of the product's two servers. A service that runs is not
/// stopped: the manager removes it when it has ended. Failures are swallowed.
void uninstallServices();

/// 1 when there is a service "Kovra", 0 when there is none, -1 when the service manager could not be opened.
[[nodiscard]] std::int32_t isServiceInstalled();

} // namespace kovra
