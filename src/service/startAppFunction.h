#pragma once

#include <string>

namespace kovra {

/// Starts the application with the arguments and returns without learning whether it came up. In service mode
/// it chooses session and rights and records them in `appRunState`; else the application gets the launcher's
/// own.
void startApplication(const std::wstring& arguments);

} // namespace kovra
