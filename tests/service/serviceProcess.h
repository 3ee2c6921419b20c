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

/// One start of the application.
struct ApplicationStart {
    std::uint64_t at;
    DWORD session;
    bool admin;
    std::string arguments;
};

/// A machine that notes each start of the application, which then does what a test wants of it.
class ServiceMachine : public InstalledMachine {
public:
    std::vector<ApplicationStart> starts;
    std::function<void(simulated::Process&)> application;

    ServiceMachine() {
        processes.onStart["kovra.exe"] = [this](simulated::Process& process) {
            starts.push_back({scheduler.now(), process.session, process.hasAdminRights(), process.arguments});
            if (application)
                application(process);
        };
    }

    /// The service's loop turns, and somebody without admin rights works in session 1.
    void startWithUser() {
        openWithUser(1);
        startService();
    }

    void openWithUser(DWORD session) {
        sessions.open(session);
        sessions.logOn(session);
        sessions.startShell(session);
    }

    void stopService() {
        services.control("Kovra", SERVICE_CONTROL_STOP);
        EXPECT_TRUE(playUntil([&] { return !serviceRuns(); }, 10'000));
    }

    [[nodiscard]] bool serviceRuns() const { return services.find("Kovra")->processId != 0; }
};

} // namespace kovra
