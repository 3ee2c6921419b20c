#pragma once

#include <string>

namespace kovra {

/// Carries out one control command of the application and gives the reply, which is "OK" for every message.
[[nodiscard]] std::wstring handleCommand(const std::wstring& message);

} // namespace kovra
