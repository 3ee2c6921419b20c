#pragma once

#include "platform/simulated/machine.h"

#include <cstdint>
#include <string_view>

namespace kovra::simulation {

/// The version of the Windows of that name, such as `xp` or `8.1`; null when there is none.
[[nodiscard]] const simulated::WindowsVersion* findWindows(std::string_view name);

/// Whether the simulated machine knows the code page.
[[nodiscard]] bool isCodePage(std::int32_t number);

} // namespace kovra::simulation
