#pragma once

#include <string>

namespace kovra {

/// Removes every file of the product from both Startup folders, then lays the application's shortcut into the
/// one that `scope` names: "all" (for all users) or "current". Any other scope lays none, and neither does
/// `serviceInstalled`: the service then starts the application. Failures are swallowed.
void createShortcuts(const std::wstring& scope, bool serviceInstalled);

} // namespace kovra
