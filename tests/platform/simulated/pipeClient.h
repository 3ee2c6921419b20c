#pragma once

#include "platform/simulated/machine.h"

namespace kovra::contract {

struct PipeClient : simulated::PipeClient {
    explicit PipeClient(const std::string& name, bool isAnonymous = false)
        : simulated::PipeClient(simulated::machine()) {
        if (isAnonymous)
            identity.level = simulated::ImpersonationLevel::anonymous;
        connect(name);
    }
};

} // namespace kovra::contract
