#include "platform/simulated/services.h"

#include "platform/simulated/machine.h"

#include <algorithm>

/// One open handle of the service manager: to the manager itself, or to a service.
struct ServiceControlHandle {
    kovra::simulated::Service* service;
};

namespace kovra::simulated {

namespace {

const char* nameOfState(DWORD state) {
    switch (state) {
    case SERVICE_STOPPED:
        return "stopped";
    case SERVICE_START_PENDING:
        return "start pending";
    case SERVICE_STOP_PENDING:
        return "stop pending";
    default:
        return "running";
    }
}

} // namespace

std::vector<DWORD> Service::reportedStates() const {
    std::vector<DWORD> states;
    for (const SERVICE_STATUS& status : reports)
        states.push_back(status.dwCurrentState);
    return states;
}

Service& ServiceManager::add(const std::string& name, const std::string& binaryPath) {
    Service& service = services_.emplace_back();
    service.name = name;
    service.displayName = name;
    service.binaryPath = binaryPath;
    return service;
}

Service* ServiceManager::find(std::string_view name) const {
    for (const Service& service : services_) {
        if (sameName(service.name, name))
            return const_cast<Service*>(&service);
    }
    return nullptr;
}

std::vector<Service> ServiceManager::list() const {
    return {services_.begin(), services_.end()};
}

bool ServiceManager::start(std::string_view name) {
    Service* service = find(name);
    if (service == nullptr || service->markedForDelete || service->processId != 0)
        return false;
    // The image path's program stands in double quotes, its arguments follow behind a blank.
    const std::string& image = service->binaryPath;
    const std::size_t closing = image.find('"', 1);
    if (!image.starts_with('"') || closing == std::string::npos)
        return false;
    const std::string arguments = closing + 2 < image.size() ? image.substr(closing + 2) : "";
    service->reports.clear();
    service->controls_.clear();
    service->handler_ = nullptr;
    service->processId =
        machine_.processes.launch(image.substr(1, closing - 1), arguments, 0, Account::localSystem, service);
    return service->processId != 0;
}

bool ServiceManager::control(std::string_view name, DWORD code) const {
    Service* service = find(name);
    if (service == nullptr || service->processId == 0 || service->reports.empty())
        return false;
    const DWORD accepted = service->reports.back().dwControlsAccepted;
    if ((code == SERVICE_CONTROL_STOP && (accepted & SERVICE_ACCEPT_STOP) == 0) ||
        (code == SERVICE_CONTROL_SHUTDOWN && (accepted & SERVICE_ACCEPT_SHUTDOWN) == 0))
        return false;
    service->controls_.push_back(code);
    return true;
}

void ServiceManager::boot() {
    for (const Service& service : services_) {
        if (service.startType == SERVICE_AUTO_START)
            start(service.name);
    }
}

void ServiceManager::processEnded(const Process& process) {
    if (process.service == nullptr)
        return;
    process.service->state = SERVICE_STOPPED;
    process.service->processId = 0;
    dropIfDone(*process.service);
}

BOOL ServiceManager::dispatch(const SERVICE_TABLE_ENTRYA* table) {
    Process& process = *currentThread()->process();
    Service* service = process.service;
    {
        const Call<"StartServiceCtrlDispatcherA"> call;
        if (call.fails())
            return FALSE;
        if (service == nullptr) {
            setLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
            return FALSE;
        }
        machine_.scheduler.start(process, [entry = table[0].lpServiceProc, name = table[0].lpServiceName] {
            LPSTR arguments[] = {name, nullptr};
            entry(1, arguments);
        });
    }
    for (;;) {
        DWORD control = 0;
        LPHANDLER_FUNCTION handler = nullptr;
        {
            const MachineCode machineCode;
            const auto stopped = [&] {
                return !service->reports.empty() && service->reports.back().dwCurrentState == SERVICE_STOPPED;
            };
            machine_.scheduler.blockUntil(Scheduler::never,
                                          [&] { return !service->controls_.empty() || stopped(); });
            if (stopped())
                return TRUE;
            control = service->controls_.front();
            service->controls_.erase(service->controls_.begin());
            handler = service->handler_;
        }
        acquireFrom(service);
        if (handler != nullptr)
            handler(control);
    }
}

SERVICE_STATUS_HANDLE ServiceManager::registerHandler(LPHANDLER_FUNCTION handler) {
    Service* service = currentThread()->process()->service;
    if (service == nullptr)
        return nullptr;
    service->handler_ = handler;
    return reinterpret_cast<SERVICE_STATUS_HANDLE>(service);
}

BOOL ServiceManager::report(SERVICE_STATUS_HANDLE handle, const SERVICE_STATUS& status) {
    Service* service = reinterpret_cast<Service*>(handle);
    if (service == nullptr || service != currentThread()->process()->service) {
        setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    // A control reaches the service's process behind its first report.
    releaseTo(service);
    service->reports.push_back(status);
    service->state = status.dwCurrentState;
    machine_.tell(Side::launcher, std::string{"service is "} + nameOfState(status.dwCurrentState));
    return TRUE;
}

DWORD ServiceManager::remove(Service& service) {
    if (service.markedForDelete)
        return ERROR_SERVICE_MARKED_FOR_DELETE;
    service.markedForDelete = true;
    return ERROR_SUCCESS;
}

SC_HANDLE ServiceManager::open(Service* service) {
    ++openHandles;
    if (service != nullptr)
        ++service->openHandles_;
    return new ServiceControlHandle{service};
}

BOOL ServiceManager::close(SC_HANDLE handle) {
    if (handle == nullptr)
        return FALSE;
    --openHandles;
    if (Service* service = handle->service) {
        --service->openHandles_;
        dropIfDone(*service);
    }
    delete handle;
    return TRUE;
}

Service* ServiceManager::serviceOf(SC_HANDLE handle) {
    return handle == nullptr ? nullptr : handle->service;
}

void ServiceManager::dropIfDone(Service& service) {
    if (service.markedForDelete && service.openHandles_ == 0 && service.processId == 0)
        services_.remove_if([&](const Service& each) { return &each == &service; });
}

} // namespace kovra::simulated

using namespace kovra::simulated;

BOOL StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table) {
    return machine().services.dispatch(table);
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerA(LPCSTR, LPHANDLER_FUNCTION handler) {
    const Call<"RegisterServiceCtrlHandlerA"> call;
    return call.fails() ? nullptr : machine().services.registerHandler(handler);
}

BOOL SetServiceStatus(SERVICE_STATUS_HANDLE handle, SERVICE_STATUS* status) {
    const SERVICE_STATUS copy = *status;
    const Call<"SetServiceStatus"> call;
    return call.fails() ? FALSE : machine().services.report(handle, copy);
}

SC_HANDLE OpenSCManagerA(LPCSTR, LPCSTR, DWORD) {
    const Call<"OpenSCManagerA"> call;
    if (call.fails())
        return nullptr;
    if (machine().services.denied) {
        setLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return machine().services.open(nullptr);
}

SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD) {
    const Call<"OpenServiceA"> call;
    if (call.fails())
        return nullptr;
    Service* service = manager == nullptr ? nullptr : machine().services.find(name);
    if (service == nullptr) {
        setLastError(manager == nullptr ? ERROR_INVALID_HANDLE : ERROR_SERVICE_DOES_NOT_EXIST);
        return nullptr;
    }
    return machine().services.open(service);
}

SC_HANDLE CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD, DWORD serviceType,
                         DWORD startType, DWORD errorControl, LPCSTR binaryPath, LPCSTR, DWORD*, LPCSTR,
                         LPCSTR startName, LPCSTR) {
    const Call<"CreateServiceA"> call;
    if (call.fails())
        return nullptr;
    if (manager == nullptr) {
        setLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    ServiceManager& services = machine().services;
    if (const Service* existing = services.find(name)) {
        setLastError(existing->markedForDelete ? ERROR_SERVICE_MARKED_FOR_DELETE : ERROR_SERVICE_EXISTS);
        return nullptr;
    }
    Service& service = services.add(name, binaryPath);
    service.displayName = displayName;
    service.type = serviceType;
    service.startType = startType;
    service.errorControl = errorControl;
    if (startName != nullptr)
        service.account = startName;
    machine().tell(Side::launcher, "creates the service " + service.name);
    return services.open(&service);
}

BOOL DeleteService(SC_HANDLE handle) {
    const Call<"DeleteService"> call;
    Service* service = call.fails() ? nullptr : ServiceManager::serviceOf(handle);
    if (service == nullptr)
        return FALSE;
    const DWORD error = machine().services.remove(*service);
    setLastError(error);
    if (error == ERROR_SUCCESS)
        machine().tell(Side::launcher, "deletes the service " + service->name);
    return error == ERROR_SUCCESS;
}

BOOL CloseServiceHandle(SC_HANDLE handle) {
    const Call<"CloseServiceHandle"> call;
    const BOOL closed = machine().services.close(handle);
    if (closed == FALSE)
        machine().misuses.emplace_back("CloseServiceHandle on no handle");
    return closed;
}
