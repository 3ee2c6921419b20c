#pragma once

#include <cstdint>

namespace kovra::simulated {

/// Whose rights a process runs with.
enum class Account : std::uint8_t {
    user,          ///< somebody who is logged on, with normal rights
    administrator, ///< somebody who is logged on, with the elevated half of the token
    localSystem,
};

/// What a client of a pipe lets its server do with its identity.
enum class ImpersonationLevel : std::uint8_t { anonymous, identification, impersonation };

/// Who a client of a pipe is to the server that looks at it.
struct ClientIdentity {
    bool overNetwork = false;
    ImpersonationLevel level = ImpersonationLevel::impersonation;
};

} // namespace kovra::simulated
