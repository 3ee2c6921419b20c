#include "tests/platform/contract.h"

#include "platform/windows/ownLibrary.h"

#include <shlwapi.h>

namespace kovra::contract {

namespace {

// What other programs hold until the test ends.
std::vector<KernelHandle> programs;
std::vector<HMODULE> libraries;
std::vector<FileHandle> files;

std::string ownPath() {
    char path[MAX_PATH];
    return {path, GetModuleFileNameA(nullptr, path, sizeof path)};
}

void clear() {
    for (const KernelHandle& program : programs) {
        TerminateProcess(program.get(), 0);
        WaitForSingleObject(program.get(), INFINITE);
    }
    programs.clear();
    for (const HMODULE library : libraries)
        FreeLibrary(library);
    libraries.clear();
    files.clear();
    std::string folder = scratchFolder + '\0'; // the end of a list of one
    SHFILEOPSTRUCTA deletion{};
    deletion.wFunc = FO_DELETE;
    deletion.pFrom = folder.c_str();
    deletion.fFlags = FOF_NOCONFIRMATION | FOF_NOERRORUI | FOF_SILENT;
    SHFileOperationA(&deletion);
    SHDeleteKeyA(HKEY_CLASSES_ROOT, scratchKey.c_str());
}

} // namespace

struct PipeClient::End : FileHandle {
    using FileHandle::FileHandle;
};

struct Mailslot::End : FileHandle {
    using FileHandle::FileHandle;
};

void play(void (*test)()) {
    // The file of a program that has been ended is held for a moment longer.
    ASSERT_TRUE(soon([] {
        clear();
        return CreateDirectoryA(scratchFolder.c_str(), nullptr) != FALSE;
    }));
    test();
    clear();
}

DWORD startOther(const std::string& name) {
    std::string path = scratchFolder + "\\" + name;
    CopyFileA(ownPath().c_str(), path.c_str(), FALSE);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    CreateProcessA(nullptr, path.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                   &information);
    CloseHandle(information.hThread);
    programs.emplace_back(information.hProcess);
    return information.dwProcessId;
}

void makeFolder(const std::string& path) {
    CreateDirectoryA(path.c_str(), nullptr);
}

void makeReadOnly(const std::string& path) {
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
}

void addName(const std::string& file, const std::string& name) {
    EXPECT_TRUE(CreateHardLinkA(name.c_str(), file.c_str(), nullptr));
}

void layLoadedLibrary(const std::string& path) {
    const std::string own = ownPath();
    CopyFileA((own.substr(0, own.rfind('\\')) + "\\ext.dll").c_str(), path.c_str(), FALSE);
    libraries.push_back(LoadLibraryA(path.c_str()));
    EXPECT_NE(libraries.back(), nullptr);
}

void layHeldFile(const std::string& path) {
    files.emplace_back(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
}

bool underWine() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

namespace {

/// The message that is there.
std::optional<std::string> take(const FileHandle& from) {
    char message[512];
    DWORD size = 0;
    if (!ReadFile(from.get(), message, sizeof message, &size, nullptr))
        return std::nullopt;
    return std::string{message, size};
}

} // namespace

PipeClient::PipeClient(const std::string& name, bool isAnonymous)
    : end_(std::make_unique<End>(CreateFileA(
          ("\\\\.\\pipe\\" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
          isAnonymous ? SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS : 0, nullptr))) {
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(end_->get(), &mode, nullptr, nullptr);
}

PipeClient::~PipeClient() = default;

bool PipeClient::connected() const {
    return PeekNamedPipe(end_->get(), nullptr, 0, nullptr, nullptr, nullptr) != FALSE;
}

bool PipeClient::write(const std::string& message) {
    DWORD written = 0;
    return WriteFile(end_->get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr) !=
           FALSE;
}

std::optional<std::string> PipeClient::read() {
    DWORD size = 0;
    if (!PeekNamedPipe(end_->get(), nullptr, 0, nullptr, &size, nullptr) || size == 0)
        return std::nullopt;
    return take(*end_);
}

void PipeClient::close() {
    end_->close();
}

Mailslot::Mailslot(const std::string& name)
    : end_(std::make_unique<End>(CreateMailslotA(("\\\\.\\mailslot\\" + name).c_str(), 0, 0, nullptr))) {}

Mailslot::~Mailslot() = default;

std::optional<std::string> Mailslot::read() {
    return take(*end_);
}

TEST(LibrariesContract, ExportsBearTheirPlainNames) {
    for (const char* name :
         {"getActiveConsoleSessionId", "isExplorerInSession", "launchApplicationInSession"})
        EXPECT_NE(findInOwnLibrary("sess.dll", name), nullptr) << name;
    EXPECT_NE(findInOwnLibrary("ext.dll", "createJunction"), nullptr);
}

} // namespace kovra::contract
