#include "platform/simulated/services.h"

#include "platform/simulated/machine.h"

#include <algorithm>

namespace kovra::simulated {

namespace {

// What the launcher has no use for, in Windows' own names and values.
constexpr DWORD DELETE = 0x10000;

// The rights that there are, and those that Windows gives to everybody who is logged on.
constexpr DWORD SC_MANAGER_ALL_ACCESS = 0xF003F;
constexpr DWORD everybodysManagerRights = 0x20015; // connect, enumerate, query the lock
constexpr DWORD everybodysServiceRights = 0x2018D; // query, interrogate, enumerate the dependent ones

const char* nameOfState(DWORD state) {
    const char* const names[] = {"", "stopped", "start pending", "stop pending", "running"};
    return names[std::min<DWORD>(state, SERVICE_RUNNING)];
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
    const auto found = std::find_if(services_.begin(), services_.end(),
                                    [&](const Service& service) { return sameAnsiName(service.name, name); });
    return found == services_.end() ? nullptr : const_cast<Service*>(&*found);
}

bool ServiceManager::start(std::string_view name) {
    Service* service = find(name);
    // The image path's program stands in double quotes, its arguments follow behind a blank.
    const std::string image = service == nullptr ? "" : service->binaryPath + ' ';
    const std::size_t closing = image.find('"', 1);
    if (service == nullptr || service->markedForDelete || service->state != SERVICE_STOPPED ||
        !image.starts_with('"') || closing == std::string::npos)
        return false;
    const std::string arguments = image.substr(closing + 2, image.size() - closing - 3);
    service->reports.clear();
    service->state = SERVICE_START_PENDING;
    service->processId =
        machine_.processes.launch(image.substr(1, closing - 1), arguments, 0, Account::localSystem, service);
    service->connection = &connections_.emplace_back();
    service->connection->processId = service->processId;
    if (service->processId == 0)
        service->state = SERVICE_STOPPED;
    return service->processId != 0;
}

bool ServiceManager::control(std::string_view name, DWORD code) const {
    Service* service = find(name);
    if (service == nullptr || service->state == SERVICE_STOPPED || service->reports.empty())
        return false;
    // A stop is sent while the service starts, but not twice; the shutdown of the system comes at any time.
    const bool stopping = service->state == SERVICE_STOP_PENDING;
    const bool starting = service->state == SERVICE_START_PENDING;
    if (code != SERVICE_CONTROL_SHUTDOWN && (stopping || (starting && code != SERVICE_CONTROL_STOP)))
        return false;
    const DWORD accepted = service->reports.back().dwControlsAccepted;
    if ((code == SERVICE_CONTROL_STOP && (accepted & SERVICE_ACCEPT_STOP) == 0) ||
        (code == SERVICE_CONTROL_SHUTDOWN && (accepted & SERVICE_ACCEPT_SHUTDOWN) == 0))
        return false;
    service->connection->controls.push_back(code);
    return true;
}

void ServiceManager::boot() {
    for (const Service& service : services_)
        start(service.name);
}

void ServiceManager::processEnded(const Process& process) {
    if (process.service == nullptr)
        return;
    Service& service = *process.service;
    if (service.processId == process.id) {
        if (service.state != SERVICE_STOPPED)
            machine_.tell(Side::machine, "service ended without having stopped");
        service.state = SERVICE_STOPPED;
        service.processId = 0;
    }
    dropIfDone(service);
}

SC_HANDLE ServiceManager::open(Service* service, DWORD access) {
    const bool isUser = callersAccount() == Account::user;
    const DWORD managerRights = isUser ? everybodysManagerRights : SC_MANAGER_ALL_ACCESS;
    const DWORD serviceRights = isUser ? everybodysServiceRights : SERVICE_ALL_ACCESS;
    if (denied || (access & ~(service == nullptr ? managerRights : serviceRights)) != 0)
        return nullptr;
    if (service != nullptr)
        ++service->openHandles;
    return static_cast<SC_HANDLE>(machine_.handles.add(OpenedService{service, access}));
}

void ServiceManager::closed(Service* service) {
    if (service == nullptr)
        return;
    --service->openHandles;
    dropIfDone(*service);
}

void ServiceManager::dropIfDone(Service& service) {
    const std::vector<const Process*> processes = machine_.processes.list();
    const bool inUse = std::any_of(processes.begin(), processes.end(),
                                   [&](const Process* process) { return process->service == &service; });
    if (service.markedForDelete && service.openHandles == 0 && !inUse)
        services_.remove_if([&](const Service& each) { return &each == &service; });
}

} // namespace kovra::simulated

using namespace kovra::simulated;

BOOL StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table) {
    Process& process = *currentThread()->process();
    Service* service = process.service;
    ServiceConnection* connection = nullptr;
    {
        const Call<"StartServiceCtrlDispatcherA"> call;
        if (call.fails() || service == nullptr)
            return FALSE;
        call.expect(table[0].lpServiceName != nullptr && table[1].lpServiceName == nullptr &&
                        table[1].lpServiceProc == nullptr,
                    "a table of one service, and its end");
        connection = service->connection;
        machine().scheduler.start(process, [entry = table[0].lpServiceProc, name = table[0].lpServiceName] {
            LPSTR arguments[] = {name, nullptr};
            entry(1, arguments);
        });
    }
    for (;;) {
        DWORD control = 0;
        LPHANDLER_FUNCTION handler = nullptr;
        {
            const InsideMachine inside;
            std::vector<DWORD>& controls = connection->controls;
            machine().scheduler.blockUntil(Scheduler::never,
                                           [&] { return !controls.empty() || connection->stopped; });
            // What was sent ahead of the last report still reaches the handler behind it.
            if (controls.empty())
                return TRUE;
            control = controls.front();
            controls.erase(controls.begin());
            handler = connection->handler;
        }
        acquireFrom(service);
        if (handler != nullptr)
            handler(control);
    }
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerA(LPCSTR, LPHANDLER_FUNCTION handler) {
    const Call<"RegisterServiceCtrlHandlerA"> call;
    Service* const service = call.fails() ? nullptr : currentThread()->process()->service;
    if (service != nullptr)
        service->connection->handler = handler;
    return reinterpret_cast<SERVICE_STATUS_HANDLE>(service);
}

BOOL SetServiceStatus(SERVICE_STATUS_HANDLE handle, SERVICE_STATUS* status) {
    const SERVICE_STATUS copy = *status;
    const Call<"SetServiceStatus"> call;
    call.expect(copy.dwServiceType == SERVICE_WIN32_OWN_PROCESS && copy.dwWin32ExitCode == 0 &&
                    copy.dwServiceSpecificExitCode == 0,
                "type, exit codes");
    Service* const service = reinterpret_cast<Service*>(handle);
    const Process& process = *currentThread()->process();
    if (call.fails() || service == nullptr || service != process.service)
        return FALSE;
    ServiceConnection& connection = *service->connection;
    const bool isLastStart = connection.processId == process.id;
    call.expect(isLastStart && !connection.stopped, "a report behind SERVICE_STOPPED");
    if (!isLastStart)
        return FALSE;
    // A control reaches the service's process behind its first report.
    releaseTo(service);
    service->reports.push_back(copy);
    service->state = copy.dwCurrentState;
    connection.stopped = connection.stopped || copy.dwCurrentState == SERVICE_STOPPED;
    machine().tell(Side::launcher, std::string{"service is "} + nameOfState(copy.dwCurrentState));
    return TRUE;
}

SC_HANDLE OpenSCManagerA(LPCSTR computer, LPCSTR database, DWORD access) {
    const Call<"OpenSCManagerA"> call;
    call.expect(computer == nullptr && database == nullptr, "computer, database");
    return call.fails() ? nullptr : machine().services.open(nullptr, access);
}

namespace {

/// Whether the handle is the manager's, opened with the access.
bool isManager(SC_HANDLE handle, DWORD access) {
    const OpenedService* const opened = machine().handles.find<OpenedService>(handle);
    return opened != nullptr && opened->service == nullptr && (opened->access & access) == access;
}

} // namespace

SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD access) {
    const Call<"OpenServiceA"> call;
    Service* service = isManager(manager, 0) ? machine().services.find(name) : nullptr;
    return call.fails() || service == nullptr ? nullptr : machine().services.open(service, access);
}

SC_HANDLE CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD access, DWORD serviceType,
                         DWORD startType, DWORD errorControl, LPCSTR binaryPath, LPCSTR loadOrderGroup,
                         DWORD* tagId, LPCSTR dependencies, LPCSTR startName, LPCSTR password) {
    const Call<"CreateServiceA"> call;
    call.expect(serviceType == SERVICE_WIN32_OWN_PROCESS && startType == SERVICE_AUTO_START &&
                    errorControl == SERVICE_ERROR_NORMAL && startName == nullptr,
                "type, start, error control, account");
    call.expect(loadOrderGroup == nullptr && tagId == nullptr && dependencies == nullptr &&
                    password == nullptr,
                "load order group, tag, dependencies, password");
    ServiceManager& services = machine().services;
    if (call.fails() || !isManager(manager, SC_MANAGER_CREATE_SERVICE) || services.find(name) != nullptr)
        return nullptr;
    Service& service = services.add(name, binaryPath);
    service.displayName = displayName;
    machine().tell(Side::launcher, "creates the service " + service.name + ", displayed as " +
                                       service.displayName + ", of " + service.binaryPath);
    return services.open(&service, access);
}

BOOL DeleteService(SC_HANDLE handle) {
    const Call<"DeleteService"> call;
    const OpenedService* const opened =
        call.fails() ? nullptr : machine().handles.find<OpenedService>(handle);
    if (opened == nullptr || opened->service == nullptr || (opened->access & DELETE) == 0 ||
        opened->service->markedForDelete)
        return FALSE;
    opened->service->markedForDelete = true;
    machine().tell(Side::launcher, "deletes the service " + opened->service->name);
    return TRUE;
}

BOOL CloseServiceHandle(SC_HANDLE handle) {
    const Call<"CloseServiceHandle"> call;
    const bool closed = machine().handles.close<OpenedService>(handle);
    call.expect(closed, "no handle");
    return closed;
}
