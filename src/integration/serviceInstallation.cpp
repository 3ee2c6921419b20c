#include "integration/serviceInstallation.h"

#include "frontend/installationPaths.h"
#include "platform/handles.h"
#include "support/pathSet.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

namespace kovra {

namespace {

constexpr int maxAttempts = 3;
constexpr std::int16_t attemptPauseMs = 1000;

bool createService() {
    const ServiceManagerHandle manager{OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE)};
    const std::string imagePath = toAnsi(L"\"" + pathSet->exeFolder + L"\\kovraLauncher.exe\" -service");
    const ServiceHandle service{CreateServiceA(
        manager.get(), "Kovra", "Kovra", SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
        SERVICE_ERROR_NORMAL, imagePath.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr)};
    return static_cast<bool>(service);
}

void deleteService(const ServiceManagerHandle& manager, const char* name) {
    const ServiceHandle service{OpenServiceA(manager.get(), name, SERVICE_ALL_ACCESS)};
    if (service)
        DeleteService(service.get());
}

} // namespace

bool installServices() {
    for (int attempt = 1;; ++attempt) {
        // Whatever it gives: all that counts here is the launcher's folder, which it fills in first.
        static_cast<void>(initPaths());
        if (createService()) {
            writeLog(L"Service installation successful");
            return true;
        }
        writeLog(L"Service installation failed");
        if (attempt == maxAttempts)
            break;
        pauseMs(attemptPauseMs);
    }
    reportError(L"Kovra service could not be installed");
    return false;
}

void uninstallServices() {
    ServiceManagerHandle manager{OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE)};
    for (const char* name : {"Kovra", "KovraHttpd", "KovraMySQL"})
        deleteService(manager, name);
    manager.close();
    writeLog(L"Service Kovra uninstalled");
}

std::int32_t isServiceInstalled() {
    const ServiceManagerHandle manager{OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE)};
    if (!manager)
        return -1;
    const ServiceHandle service{OpenServiceA(manager.get(), "kovra", SERVICE_QUERY_STATUS)};
    return service ? 1 : 0;
}

} // namespace kovra
