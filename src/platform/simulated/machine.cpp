#include "platform/simulated/machine.h"

#include <algorithm>
#include <cassert>

namespace kovra::simulated {

std::vector<std::string>& functionNames() {
    static std::vector<std::string> names;
    return names;
}

namespace {

Machine* theMachine = nullptr;

} // namespace

Machine& machine() {
    return *theMachine;
}

void setLastError(DWORD error) {
    currentThread()->lastError = error;
}

std::size_t addFunction(std::string_view name) {
    functionNames().emplace_back(name);
    return functionNames().size() - 1;
}

void addMisuse(std::string_view function, std::string_view what) {
    std::vector<std::string>& misuses = theMachine->misuses;
    std::string misuse = std::string{function}.append(": ").append(what);
    if (std::find(misuses.begin(), misuses.end(), misuse) == misuses.end()) // a loop repeats it for ever
        misuses.push_back(std::move(misuse));
}

bool countCall(std::size_t function) {
    Machine& here = *theMachine;
    ++here.calls_[function];
    here.noteImpersonation(function);
    here.scheduler.atCall();
    return here.callMayFail(function);
}

Machine::Machine(Program program)
    : launcher(program),
      calls_(functionNames().size()),
      failures_(functionNames().size()) {
    assert(theMachine == nullptr && "one machine at a time");
    theMachine = this;
}

Machine::~Machine() {
    std::string left = leftOpen();
    misuses.clear();
    observer = nullptr;
    processes.onEnd = nullptr;
    std::vector<DWORD> ids;
    for (const Process* process : processes.list())
        ids.push_back(process->id);
    for (const DWORD id : ids)
        processes.end(id);
    play(0);
    for (const std::string& misuse : misuses)
        left += "misuse: " + misuse + '\n';
    if (atEnd != nullptr && !left.empty())
        atEnd(left);
    theMachine = nullptr;
}

std::string Machine::leftOpen() const {
    std::string text;
    for (const std::string& misuse : misuses)
        text += "misuse: " + misuse + '\n';
    const auto tell = [&](std::size_t count, const char* what) {
        if (count > 0)
            text += std::to_string(count) + " " + what + " left open\n";
    };
    tell(heldAtExit_, "handles or memory blocks");
    tell(shell.specialFolders.lists.size(), "item lists");
    return text;
}

void Machine::endInOrder(const Process& process) {
    heldAtExit_ += handles.countOf(process) + process.memory.size();
    processes.end(process.id);
}

/// What a thread does in a client's name is done with the client's rights, which is never meant but for
/// these.
void Machine::noteImpersonation(std::size_t function) {
    const Thread& thread = *currentThread();
    if (!thread.impersonated || thread.process()->ended)
        return;
    const std::string& name = functionNames()[function];
    if (name != "OpenThreadToken" && name != "RevertToSelf" && name != "TerminateProcess")
        misuses.push_back(name + " in a client's name");
}

bool Machine::callMayFail(std::size_t function) {
    Failure& failure = failures_[function];
    if (failure.times == 0)
        return false;
    if (failure.skip > 0) {
        --failure.skip;
        return false;
    }
    --failure.times;
    failure.lastAt = lastFailedAt_ = scheduler.now();
    setLastError(failure.error);
    return true;
}

namespace {

std::size_t indexOf(std::string_view function) {
    const auto& names = functionNames();
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), function) - names.begin());
}

} // namespace

std::uint64_t Machine::calls(std::string_view function) const {
    return calls_.at(indexOf(function));
}

std::map<std::string, std::uint64_t> Machine::callsByName() const {
    std::map<std::string, std::uint64_t> result;
    for (std::size_t index = 0; index < calls_.size(); ++index) {
        if (calls_[index] > 0)
            result.emplace(functionNames()[index], calls_[index]);
    }
    return result;
}

void Machine::fail(std::string_view function, DWORD error, std::uint64_t times, std::uint64_t skip) {
    Failure& failure = failures_.at(indexOf(function));
    failure = {error, skip, times, failure.lastAt};
}

void Machine::heal(std::string_view function) {
    failures_.at(indexOf(function)).times = 0;
}

std::optional<std::uint64_t> Machine::lastFailedAt(std::string_view function) const {
    return failures_.at(indexOf(function)).lastAt;
}

DWORD Machine::start(const std::wstring& commandLine, DWORD session, Account account) {
    const InsideMachine inside;
    return processes.launch(codePage.toAnsi(launcherPath), codePage.toAnsi(commandLine), session, account);
}

bool Machine::run(const std::wstring& commandLine, Account account) {
    constexpr std::uint64_t limitMs = 600'000;
    const DWORD id = start(commandLine, 1, account);
    return playUntil([&] { return processes.find(id) == nullptr; }, limitMs);
}

void Machine::inside(const std::function<void()>& body, Account account) {
    const InsideMachine inside;
    const Process& process = processes.startLauncher("", 1, account, nullptr, body);
    scheduler.blockUntil(scheduler.now() + 3'600'000, [&] { return process.ended; });
    processes.reap();
}

void Machine::play(std::uint64_t milliseconds) {
    playUntil([] { return false; }, milliseconds);
}

bool Machine::playUntil(const std::function<bool()>& condition, std::uint64_t limitMs) {
    const InsideMachine inside;
    const bool held = scheduler.blockUntil(scheduler.now() + limitMs, [&] { return condition(); });
    processes.reap();
    return held;
}

void Machine::tell(Side side, std::string text) {
    const Happening happening{scheduler.now(), side, std::move(text)};
    if (observer)
        observer(happening);
    if (keepHappenings)
        happenings.push_back(happening);
}

void Machine::traced(std::string_view line) {
    constexpr std::string_view mark = " SCE: ";
    const std::size_t start = line.find(mark) + mark.size();
    const std::size_t end = line.rfind("\r\n");
    traceLines.emplace_back(line.substr(start, end - start));
    tell(Side::trace, traceLines.back());
}

} // namespace kovra::simulated

DWORD GetLastError() {
    return kovra::simulated::currentThread()->lastError;
}
