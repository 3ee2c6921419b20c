#include "tests/windows/machine.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <shlobj.h>
#include <tlhelp32.h>

namespace checks {
namespace {

/// Calls `visit` for every process of that file name.
void forEachProcess(const std::string& fileName, const std::function<void(DWORD)>& visit) {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = Process32First(snapshot, &entry); found != FALSE;
         found = Process32Next(snapshot, &entry))
        if (lower(entry.szExeFile) == lower(fileName))
            visit(entry.th32ProcessID);
    CloseHandle(snapshot);
}

/// Calls `visit` with the service, when it can be opened, and closes it.
void withService(const std::string& name, DWORD access, const std::function<void(SC_HANDLE)>& visit) {
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service = OpenServiceA(manager, name.c_str(), access);
    if (service != nullptr) {
        visit(service);
        CloseServiceHandle(service);
    }
    CloseServiceHandle(manager);
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
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

std::string hex(const std::string& bytes) {
    std::string digits;
    for (const char byte : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        digits += pair;
    }
    return digits;
}

std::string readFile(const std::string& path) {
    std::string content;
    const HANDLE file =
        CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return content;
    char block[4096];
    DWORD size = 0;
    while (ReadFile(file, block, sizeof block, &size, nullptr) && size > 0)
        content.append(block, size);
    CloseHandle(file);
    return content;
}

void makeFolder(const std::string& path) {
    for (std::size_t end = path.find('\\', 3); end != std::string::npos; end = path.find('\\', end + 1))
        CreateDirectoryA(path.substr(0, end).c_str(), nullptr);
    CreateDirectoryA(path.c_str(), nullptr);
}

void writeFile(const std::string& path, const std::string& content) {
    makeFolder(path.substr(0, path.rfind('\\')));
    const HANDLE file =
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    CloseHandle(file);
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
        handle_ = information.hProcess;
    }
}

Process::Process(Process&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

Process& Process::operator=(Process&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

Process::~Process() {
    kill();
    CloseHandle(handle_);
}

bool Process::waitForEnd(DWORD limitMs) const {
    return handle_ != nullptr && WaitForSingleObject(handle_, limitMs) == WAIT_OBJECT_0;
}

void Process::kill() {
    TerminateProcess(handle_, 0);
    WaitForSingleObject(handle_, 2000);
}

bool isRunning(const std::string& fileName) {
    bool found = false;
    forEachProcess(fileName, [&found](DWORD) { found = true; });
    return found;
}

DWORD killAll(const std::string& fileName) {
    forEachProcess(fileName, [](DWORD id) {
        const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, id);
        TerminateProcess(process, 0);
        CloseHandle(process);
    });
    return GetTickCount();
}

DWORD serviceState(const std::string& name) {
    SERVICE_STATUS status{};
    withService(name, SERVICE_QUERY_STATUS,
                [&status](SC_HANDLE service) { QueryServiceStatus(service, &status); });
    return status.dwCurrentState;
}

std::string serviceConfiguration(const std::string& name) {
    std::string text;
    withService(name, SERVICE_QUERY_CONFIG, [&text](SC_HANDLE service) {
        alignas(QUERY_SERVICE_CONFIGA) char buffer[4096];
        auto* const configuration = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer);
        DWORD needed = 0;
        if (QueryServiceConfigA(service, configuration, sizeof buffer, &needed))
            text = std::string{configuration->lpBinaryPathName} + "|" + configuration->lpDisplayName + "|" +
                   std::to_string(configuration->dwStartType) + "|" + configuration->lpServiceStartName;
    });
    return text;
}

void stopService(const std::string& name) {
    SERVICE_STATUS status{};
    withService(name, SERVICE_STOP,
                [&status](SC_HANDLE service) { ControlService(service, SERVICE_CONTROL_STOP, &status); });
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
        pipe_ = CreateFileA("\\\\.\\pipe\\kovraLauncherPipe", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                            OPEN_EXISTING, 0, nullptr);
        return connected();
    });
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(pipe_, &mode, nullptr, nullptr);
}

void PipeClient::send(const std::string& message) {
    DWORD written = 0;
    WriteFile(pipe_, message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
}

std::string PipeClient::readReply() {
    char reply[200];
    DWORD size = 0;
    if (!ReadFile(pipe_, reply, sizeof reply, &size, nullptr))
        return "[read error " + std::to_string(GetLastError()) + "]";
    return {reply, size};
}

void PipeClient::close() {
    if (connected())
        CloseHandle(std::exchange(pipe_, INVALID_HANDLE_VALUE));
}

std::string command(const std::string& message) {
    PipeClient client;
    if (!client.connected())
        return "[not connected]";
    client.send(message);
    return client.readReply();
}

} // namespace checks
