#include "tests/windows/machine.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include <shlobj.h>
#include <tlhelp32.h>

namespace checks {
namespace {

/// Calls `visit` for every process of that file name.
void forEachProcess(const std::string& fileName, const std::function<void(DWORD)>& visit) {
    const kovra::SnapshotHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = Process32First(snapshot.get(), &entry); found;
         found = Process32Next(snapshot.get(), &entry))
        if (lower(entry.szExeFile) == lower(fileName))
            visit(entry.th32ProcessID);
}

kovra::ServiceHandle openService(const std::string& name, DWORD access) {
    const kovra::ServiceManagerHandle manager{OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT)};
    return kovra::ServiceHandle{OpenServiceA(manager.get(), name.c_str(), access)};
}

} // namespace

bool waitFor(DWORD limitMs, const std::function<bool()>& condition) {
    const DWORD start = GetTickCount();
    while (!condition()) {
        if (GetTickCount() - start >= limitMs)
            return false;
        Sleep(20);
    }
    return true;
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string readFile(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

void makeFolder(const std::string& path) {
    std::error_code error; // such as for a drive
    std::filesystem::create_directories(path, error);
}

void writeFile(const std::string& path, const std::string& content) {
    makeFolder(path.substr(0, path.rfind('\\')));
    std::ofstream{path, std::ios::binary} << content;
}

bool exists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string shellFolder(int csidl) {
    char path[MAX_PATH] = "";
    SHGetSpecialFolderPathA(nullptr, path, csidl, TRUE);
    return path;
}

Process::Process(const std::string& commandLine) {
    std::string line = commandLine;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &information)) {
        CloseHandle(information.hThread);
        handle_ = kovra::KernelHandle{information.hProcess};
    }
}

Process& Process::operator=(Process&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

bool Process::waitForEnd(DWORD limitMs) const {
    return handle_ && WaitForSingleObject(handle_.get(), limitMs) == WAIT_OBJECT_0;
}

void Process::kill() {
    TerminateProcess(handle_.get(), 0);
    WaitForSingleObject(handle_.get(), 2000);
}

bool isRunning(const std::string& fileName) {
    bool found = false;
    forEachProcess(fileName, [&found](DWORD) { found = true; });
    return found;
}

DWORD killAll(const std::string& fileName) {
    forEachProcess(fileName, [](DWORD id) {
        TerminateProcess(kovra::KernelHandle{OpenProcess(PROCESS_TERMINATE, FALSE, id)}.get(), 0);
    });
    return GetTickCount();
}

DWORD serviceState(const std::string& name) {
    SERVICE_STATUS status{};
    QueryServiceStatus(openService(name, SERVICE_QUERY_STATUS).get(), &status);
    return status.dwCurrentState;
}

std::string serviceConfiguration(const std::string& name) {
    alignas(QUERY_SERVICE_CONFIGA) char buffer[4096];
    const auto& configuration = reinterpret_cast<QUERY_SERVICE_CONFIGA&>(buffer);
    DWORD needed = 0;
    if (!QueryServiceConfigA(openService(name, SERVICE_QUERY_CONFIG).get(),
                             reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer), sizeof buffer, &needed))
        return {};
    return std::string{configuration.lpBinaryPathName} + "|" + configuration.lpDisplayName + "|" +
           std::to_string(configuration.dwStartType) + "|" + configuration.lpServiceStartName;
}

void stopService(const std::string& name) {
    SERVICE_STATUS status{};
    ControlService(openService(name, SERVICE_STOP).get(), SERVICE_CONTROL_STOP, &status);
}

bool waitForServiceState(const std::string& name, DWORD state, DWORD limitMs) {
    return waitFor(limitMs, [&name, state] { return serviceState(name) == state; });
}

std::optional<std::string> classesRootValue(const std::string& key) {
    char text[4096] = "";
    LONG size = sizeof text;
    if (RegQueryValueA(HKEY_CLASSES_ROOT, key.c_str(), text, &size) != ERROR_SUCCESS)
        return std::nullopt;
    return text;
}

PipeClient::PipeClient(DWORD limitMs) {
    waitFor(limitMs, [this] {
        pipe_ = kovra::FileHandle{CreateFileA("\\\\.\\pipe\\kovraLauncherPipe", GENERIC_READ | GENERIC_WRITE,
                                              0, nullptr, OPEN_EXISTING, 0, nullptr)};
        return static_cast<bool>(pipe_);
    });
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(pipe_.get(), &mode, nullptr, nullptr);
}

void PipeClient::send(const std::string& message) const {
    DWORD written = 0;
    WriteFile(pipe_.get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
}

std::string PipeClient::readReply() const {
    char reply[200];
    DWORD size = 0;
    if (!ReadFile(pipe_.get(), reply, sizeof reply, &size, nullptr))
        return "[error " + std::to_string(GetLastError()) + "]";
    return {reply, size};
}

std::string command(const std::string& message) {
    const PipeClient client;
    client.send(message);
    return client.readReply();
}

} // namespace checks
