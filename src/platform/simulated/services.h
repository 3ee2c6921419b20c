#pragma once

#include "platform/simulated/scheduler.h"

#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

class Machine;

/// One process of a service, as the service manager sees it.
struct ServiceConnection {
    DWORD processId = 0;
    std::vector<DWORD> controls; ///< waiting for the dispatcher
    LPHANDLER_FUNCTION handler = nullptr;
    bool stopped = false; ///< it has reported SERVICE_STOPPED
};

struct Service {
    std::string name;
    std::string displayName;
    std::string binaryPath;
    bool markedForDelete = false;
    DWORD state = SERVICE_STOPPED;
    DWORD processId = 0;                 ///< of its last start; 0 when that process is gone
    std::vector<SERVICE_STATUS> reports; ///< everything that it has reported since its last start

    bool operator==(const Service& other) const {
        return name == other.name && displayName == other.displayName && binaryPath == other.binaryPath &&
               markedForDelete == other.markedForDelete;
    }

    [[nodiscard]] std::vector<DWORD> reportedStates() const;

    ServiceConnection* connection = nullptr; ///< of the last start
    int openHandles = 0;
};

/// The service manager and its database.
class ServiceManager {
public:
    explicit ServiceManager(Machine& machine) : machine_(machine) {}

    Service& add(const std::string& name, const std::string& binaryPath);
    [[nodiscard]] Service* find(std::string_view name) const;

    [[nodiscard]] const std::list<Service>& list() const { return services_; }

    /// Starts the service's process; no when it is unknown, marked for deletion or not stopped. A process
    /// that has reported SERVICE_STOPPED may still be there.
    bool start(std::string_view name);
    /// Sends a control; no when the service doesn't run, doesn't take it or is in no state for it.
    bool control(std::string_view name, DWORD code) const;
    /// Starts all services: each starts by itself.
    void boot();

    bool denied = false; ///< nobody may open the manager

    void processEnded(const Process& process);

    // What the launcher's calls come down to.
    /// Opens the service, or the manager itself. Null where the calling process's
    /// account may not do what it asks for.
    SC_HANDLE open(Service* service, DWORD access);
    /// A handle to the service, or to the manager itself, was closed.
    void closed(Service* service);

private:
    void dropIfDone(Service& service);

    Machine& machine_;
    std::list<Service> services_;
    std::list<ServiceConnection> connections_; // of all starts: a process may outlast its service
};

} // namespace kovra::simulated
