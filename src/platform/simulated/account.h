#pragma once

#include <cstdint>

namespace kovra::simulated {

/// Whose rights a process runs with.
enum class Account : std::uint8_t {
    user,          ///< somebody who is logged on, with normal rights
    administrator, ///< somebody who is logged on, with the elevated half of the token
    localSystem,
};

} // namespace kovra::simulated
