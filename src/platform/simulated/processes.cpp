#include "platform/simulated/processes.h"

#include "platform/simulated/machine.h"
#include "platform/simulated/processState.h"

#include <algorithm>

namespace kovra::simulated {

namespace {

constexpr DWORD debugPrivilege = 20;

struct ProcessValue {
    void* (*make)();
    void (*drop)(void*);
};

std::vector<ProcessValue>& processValues() {
    static std::vector<ProcessValue> values;
    return values;
}

} // namespace

std::size_t addProcessValue(void* (*make)(), void (*drop)(void*)) {
    processValues().push_back({make, drop});
    return processValues().size() - 1;
}

void* processValue(std::size_t slot) {
    return currentThread()->process()->values[slot];
}

void* processValue(std::size_t slot, const Process& process) {
    return process.values[slot];
}

Account callersAccount() {
    return currentThread()->process()->account;
}

bool Process::mayEnd(const Process& other) const {
    if (other.unkillable)
        return false;
    // A process gives full access to its own user and to LocalSystem. Whoever shares a session is one person
    // here, whose elevated half can't be reached from the other one.
    return debugs || account == Account::localSystem ||
           (session == other.session && (other.account == Account::user || other.account == account));
}

Processes::~Processes() {
    reap();
}

Process& Processes::add(const std::string& name, DWORD session, Account account) {
    Process& process = *running_.emplace_back(std::make_unique<Process>());
    process.id = nextId_ += 4;
    process.name = name;
    process.session = session;
    process.account = account;
    process.startedAt = machine_.scheduler.now();
    return process;
}

DWORD Processes::start(const std::string& name, DWORD session, Account account) {
    return letRun(add(name, session, account));
}

DWORD Processes::launch(const std::string& path, const std::string& arguments, DWORD session, Account account,
                        Service* service) {
    if (!machine_.files.fileExists(machine_.codePage.toWide(path)))
        return 0;
    if (sameAnsiName(path, machine_.codePage.toAnsi(machine_.launcherPath))) {
        const auto body = [program = machine_.launcher, line = machine_.codePage.toWide(arguments)] {
            program(line);
        };
        return startLauncher(arguments, session, account, service, body).id;
    }
    Process& process = add(path.substr(path.rfind('\\') + 1), session, account);
    process.path = path;
    process.arguments = arguments;
    return letRun(process);
}

DWORD Processes::letRun(Process& process) {
    const DWORD id = process.id;
    const bool tellsRights = !process.path.empty() && process.hasAdminRights();
    machine_.tell(Side::machine, process.commandLine() + " starts in session " +
                                     std::to_string(process.session) +
                                     (tellsRights ? " with admin rights" : ""));
    if (const auto behaviour = onStart.find(lowerCase(process.name)); behaviour != onStart.end())
        behaviour->second(process);
    return id;
}

Process& Processes::startLauncher(const std::string& arguments, DWORD session, Account account,
                                  Service* service, std::function<void()> body) {
    const std::string path = machine_.codePage.toAnsi(machine_.launcherPath);
    Process& process = add(path.substr(path.rfind('\\') + 1), session, account);
    process.path = path;
    process.arguments = arguments;
    process.service = service;
    for (const ProcessValue& value : processValues())
        process.values.push_back(value.make());
    machine_.tell(Side::machine, process.commandLine() + " starts");
    machine_.scheduler.start(process, [this, &process, body = std::move(body)] {
        body();
        const InsideMachine inside;
        machine_.endInOrder(process);
    });
    return process;
}

void Processes::end(DWORD id) {
    const auto entry =
        std::find_if(running_.begin(), running_.end(), [id](const auto& each) { return each->id == id; });
    if (entry == running_.end())
        return;
    Process& process = **entry;
    process.ended = true;
    process.workingFolder.reset();
    ended_.splice(ended_.end(), running_, entry);
    machine_.handles.closeAll(process);
    machine_.mailslots.processEnded(process);
    machine_.services.processEnded(process);
    machine_.tell(Side::machine, process.name + " ends");
    if (onEnd)
        onEnd(process);
}

void Processes::terminate(const Process& process) {
    machine_.tell(Side::launcher, "terminates " + process.name);
    if (terminationMs == 0)
        end(process.id);
    else
        machine_.scheduler.after(terminationMs, [this, id = process.id] { end(id); });
}

void Processes::endAll(std::string_view name) {
    while (const Process* process = find(name))
        end(process->id);
}

std::vector<const Process*> Processes::list() const {
    std::vector<const Process*> result;
    result.reserve(running_.size());
    for (const auto& process : running_)
        result.push_back(process.get());
    return result;
}

namespace {

/// The first process of which it holds; null when there is none.
template <typename Condition>
Process* first(const std::list<std::unique_ptr<Process>>& processes, Condition condition) {
    const auto found = std::find_if(processes.begin(), processes.end(),
                                    [&](const auto& process) { return condition(*process); });
    return found == processes.end() ? nullptr : found->get();
}

} // namespace

Process* Processes::find(std::string_view name, std::optional<DWORD> session) const {
    return first(running_, [&](const Process& process) {
        return process.session == session.value_or(process.session) && sameAnsiName(process.name, name);
    });
}

Process* Processes::findOwn(std::string_view name, DWORD session) const {
    return first(running_, [&](const Process& process) {
        return process.session == session && process.account == Account::localSystem &&
               sameAnsiName(process.name, name);
    });
}

Process* Processes::find(DWORD id) const {
    return first(running_, [&](const Process& process) { return process.id == id; });
}

std::size_t Processes::count(std::string_view name) const {
    return static_cast<std::size_t>(
        std::count_if(running_.begin(), running_.end(),
                      [name](const auto& process) { return sameAnsiName(process->name, name); }));
}

void Processes::reap() {
    for (const auto& process : ended_) {
        machine_.scheduler.forget(*process);
        for (std::size_t slot = 0; slot < process->values.size(); ++slot)
            processValues()[slot].drop(process->values[slot]);
    }
    ended_.clear();
}

} // namespace kovra::simulated

using namespace kovra::simulated;

HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD) {
    const Call<"CreateToolhelp32Snapshot"> call;
    call.expect(flags == TH32CS_SNAPPROCESS, "flags");
    if (call.fails())
        return INVALID_HANDLE_VALUE;
    machine().scheduler.work(snapshotMs);
    Snapshot snapshot;
    for (const Process* process : machine().processes.list())
        snapshot.entries.push_back({process->id, process->name});
    return machine().handles.add(std::move(snapshot));
}

namespace {

BOOL giveEntry(Snapshot* snapshot, PROCESSENTRY32* entry) {
    if (snapshot == nullptr || entry->dwSize != sizeof(PROCESSENTRY32) ||
        snapshot->next == snapshot->entries.size())
        return FALSE;
    const auto& [id, name] = snapshot->entries[snapshot->next++];
    entry->th32ProcessID = id;
    entry->szExeFile[name.copy(entry->szExeFile, sizeof entry->szExeFile - 1)] = '\0';
    return TRUE;
}

} // namespace

BOOL Process32First(HANDLE handle, PROCESSENTRY32* entry) {
    const Call<"Process32First"> call;
    Snapshot* snapshot = call.fails() ? nullptr : machine().handles.find<Snapshot>(handle);
    call.expect(snapshot == nullptr || snapshot->next == 0, "a second time");
    return giveEntry(snapshot, entry);
}

BOOL Process32Next(HANDLE handle, PROCESSENTRY32* entry) {
    const Call<"Process32Next"> call;
    return giveEntry(call.fails() ? nullptr : machine().handles.find<Snapshot>(handle), entry);
}

void ExitProcess(UINT exitCode) {
    const Call<"ExitProcess"> call;
    call.expect(exitCode == 0, "exit code");
    machine().endInOrder(*currentThread()->process());
    throw ProcessEnded{};
}

HANDLE GetCurrentProcess() {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));
}

DWORD GetCurrentProcessId() {
    const Call<"GetCurrentProcessId"> call;
    return currentThread()->process()->id;
}

DWORD GetModuleFileNameA(HANDLE module, LPSTR fileName, DWORD size) {
    const Call<"GetModuleFileNameA"> call;
    call.expect(module == nullptr, "module");
    if (call.fails())
        return 0;
    const auto length = static_cast<DWORD>(currentThread()->process()->path.copy(fileName, size));
    if (length < size)
        fileName[length] = '\0';
    return length;
}

BOOL ProcessIdToSessionId(DWORD processId, DWORD* sessionId) {
    const Call<"ProcessIdToSessionId"> call;
    const Process* process = call.fails() ? nullptr : machine().processes.find(processId);
    if (process != nullptr)
        *sessionId = process->session;
    return process != nullptr;
}

HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId) {
    const Call<"OpenProcess"> call;
    call.expect(access == PROCESS_TERMINATE && inheritHandle == FALSE, "access, inheritance");
    const Process* process = call.fails() ? nullptr : machine().processes.find(processId);
    const bool may = process != nullptr && currentThread()->process()->mayEnd(*process);
    return may ? machine().handles.add(static_cast<OpenedProcess>(processId)) : nullptr;
}

BOOL TerminateProcess(HANDLE handle, UINT exitCode) {
    const Call<"TerminateProcess"> call;
    call.expect(exitCode == 0, "exit code");
    if (call.fails())
        return FALSE;
    if (handle == GetCurrentProcess()) {
        machine().processes.end(currentThread()->process()->id);
        throw ProcessEnded{};
    }
    const OpenedProcess* opened = machine().handles.find<OpenedProcess>(handle);
    const Process* process =
        opened == nullptr ? nullptr : machine().processes.find(static_cast<DWORD>(*opened));
    if (process != nullptr)
        machine().processes.terminate(*process);
    return process != nullptr;
}

BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token) {
    const Call<"OpenProcessToken"> call;
    call.expect(process == GetCurrentProcess(), "process");
    if (!call.fails())
        *token = machine().handles.add(Token{access});
    return !call.fails();
}

BOOL LookupPrivilegeValueA(LPCSTR systemName, LPCSTR name, LUID* luid) {
    const Call<"LookupPrivilegeValueA"> call;
    call.expect((systemName == nullptr || *systemName == '\0') && sameAnsiName(name, "SeDebugPrivilege"),
                "machine, privilege");
    if (!call.fails())
        *luid = {debugPrivilege, 0};
    return !call.fails();
}

BOOL AdjustTokenPrivileges(HANDLE handle, BOOL disableAll, TOKEN_PRIVILEGES* state, DWORD length,
                           TOKEN_PRIVILEGES* previous, DWORD*) {
    const Call<"AdjustTokenPrivileges"> call;
    call.expect(disableAll == FALSE && state->PrivilegeCount == 1, "privileges");
    call.expect(length == sizeof(TOKEN_PRIVILEGES) && previous == nullptr, "former privileges");
    const Token* token = call.fails() ? nullptr : machine().handles.find<Token>(handle);
    if (token == nullptr || (token->access & TOKEN_ADJUST_PRIVILEGES) == 0)
        return FALSE;
    const LUID_AND_ATTRIBUTES& privilege = state->Privileges[0];
    Process& process = *currentThread()->process();
    if (process.hasAdminRights() && privilege.Luid.LowPart == debugPrivilege)
        process.debugs = (privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    return TRUE; // even when the privilege isn't held
}
