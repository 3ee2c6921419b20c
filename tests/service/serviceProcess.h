#pragma once

#include "frontend/installationPaths.h"
#include "service/appRunState.h"
#include "support/product.h"
#include "support/serviceMode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace kovra {

/// Runs the body in a launcher process that has the service's flags set and its paths resolved, but no loop.
inline void insideService(simulated::Machine& machine, const std::function<void()>& body) {
    machine.inside(
        [&] {
            *serviceMode = true;
            appRunState->appExpected = true;
            appRunState->forcedSessionId = -1;
            ASSERT_TRUE(initPaths());
            body();
        },
        simulated::Account::localSystem);
}

class ServiceMachine : public InstalledMachine {
public:
    void stopService() {
        services.control("Kovra", SERVICE_CONTROL_STOP);
        EXPECT_TRUE(playUntil([&] { return !serviceRuns(); }, 10'000));
    }

    [[nodiscard]] bool serviceRuns() const { return services.find("Kovra")->processId != 0; }
};

} // namespace kovra
