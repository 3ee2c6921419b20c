#include "tests/platform/contract.h"

#include <utility>

#include <shlwapi.h>

namespace kovra::contract {

namespace {

void clear() {
    std::string folder = scratchFolder + '\0'; // the end of a list of one
    SHFILEOPSTRUCTA deletion{};
    deletion.wFunc = FO_DELETE;
    deletion.pFrom = folder.c_str();
    deletion.fFlags = FOF_NOCONFIRMATION | FOF_NOERRORUI | FOF_SILENT;
    SHFileOperationA(&deletion);
    SHDeleteKeyA(HKEY_CLASSES_ROOT, scratchKey.c_str());
}

} // namespace

struct PipeClient::End {
    HANDLE pipe;
};

struct Mailslot::End {
    HANDLE slot;
};

void play(void (*body)()) {
    clear();
    ASSERT_TRUE(CreateDirectoryA(scratchFolder.c_str(), nullptr));
    body();
    clear();
}

DWORD startOther() {
    char own[MAX_PATH];
    GetModuleFileNameA(nullptr, own, sizeof own);
    std::string path = scratchFolder + "\\" + otherProgram;
    CopyFileA(own, path.c_str(), FALSE);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    CreateProcessA(nullptr, path.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                   &information);
    CloseHandle(information.hProcess);
    CloseHandle(information.hThread);
    return information.dwProcessId;
}

bool underWine() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

PipeClient::PipeClient(const std::string& name, bool isAnonymous)
    : end_(std::make_unique<End>(End{CreateFileA(
          ("\\\\.\\pipe\\" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
          isAnonymous ? SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS : 0, nullptr)})) {
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(end_->pipe, &mode, nullptr, nullptr);
}

PipeClient::~PipeClient() {
    close();
}

bool PipeClient::connected() const {
    return PeekNamedPipe(end_->pipe, nullptr, 0, nullptr, nullptr, nullptr) != FALSE;
}

bool PipeClient::write(const std::string& message) {
    DWORD written = 0;
    return WriteFile(end_->pipe, message.data(), static_cast<DWORD>(message.size()), &written, nullptr) !=
           FALSE;
}

std::optional<std::string> PipeClient::read() {
    DWORD size = 0;
    if (!PeekNamedPipe(end_->pipe, nullptr, 0, nullptr, &size, nullptr) || size == 0)
        return std::nullopt;
    char message[512];
    if (!ReadFile(end_->pipe, message, sizeof message, &size, nullptr))
        return std::nullopt;
    return std::string{message, size};
}

void PipeClient::close() {
    if (end_->pipe != INVALID_HANDLE_VALUE)
        CloseHandle(std::exchange(end_->pipe, INVALID_HANDLE_VALUE));
}

Mailslot::Mailslot(const std::string& name)
    : end_(std::make_unique<End>(End{CreateMailslotA(("\\\\.\\mailslot\\" + name).c_str(), 0, 0, nullptr)})) {
}

Mailslot::~Mailslot() {
    CloseHandle(end_->slot);
}

std::optional<std::string> Mailslot::read() {
    char message[512];
    DWORD size = 0;
    if (!ReadFile(end_->slot, message, sizeof message, &size, nullptr))
        return std::nullopt;
    return std::string{message, size};
}

} // namespace kovra::contract

int main(int argumentCount, char** arguments) {
    constexpr DWORD longEnoughMs = 60'000;
    if (std::string{arguments[0]}.ends_with(kovra::contract::otherProgram)) {
        Sleep(longEnoughMs);
        return 0;
    }
    testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
