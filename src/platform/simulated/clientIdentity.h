#pragma once

#include <cstdint>

namespace kovra::simulated {

/// What a client of a pipe lets its server do with its identity.
enum class ImpersonationLevel : std::uint8_t { anonymous, identification, impersonation };

/// Who a client of a pipe is to the server that looks at it.
struct ClientIdentity {
    bool overNetwork = false;
    ImpersonationLevel level = ImpersonationLevel::impersonation;
};

} // namespace kovra::simulated
