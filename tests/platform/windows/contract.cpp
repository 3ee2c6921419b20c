#include "tests/platform/contract.h"

#include "platform/automation.h"
#include "platform/windows/ownLibrary.h"

#include <shlwapi.h>

namespace kovra::contract {

namespace {

/// What other programs hold until the test ends.
std::vector<std::shared_ptr<void>> held;
FileHandle mailslot;

std::string ownPath() {
    char path[MAX_PATH];
    return {path, GetModuleFileNameA(nullptr, path, sizeof path)};
}

void clear() {
    held.clear();
    mailslot.close();
    FileSystemObject::create().DeleteFolder(std::wstring{scratchFolder.begin(), scratchFolder.end()}, true);
    SHDeleteKeyA(HKEY_CLASSES_ROOT, scratchKey.c_str());
}

} // namespace

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
    held.emplace_back(information.hProcess, [](HANDLE program) {
        TerminateProcess(program, 0);
        WaitForSingleObject(program, INFINITE);
        CloseHandle(program);
    });
    return information.dwProcessId;
}

void sendMessage() {
    PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
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
    held.emplace_back(LoadLibraryA(path.c_str()),
                      [](void* library) { FreeLibrary(static_cast<HMODULE>(library)); });
    EXPECT_NE(held.back(), nullptr);
}

void layHeldFile(const std::string& path) {
    held.emplace_back(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr),
                      CloseHandle);
}

bool underWine() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

void makeMailslot(const std::string& name) {
    mailslot = FileHandle{CreateMailslotA(("\\\\.\\mailslot\\" + name).c_str(), 0, 0, nullptr)};
}

std::string readMailslot(const std::string&) {
    char message[512];
    DWORD size = 0;
    return {message, ReadFile(mailslot.get(), message, sizeof message, &size, nullptr) ? size : 0};
}

TEST(LibrariesContract, ExportsBearTheirPlainNames) {
    for (const char* name :
         {"getActiveConsoleSessionId", "isExplorerInSession", "launchApplicationInSession"})
        EXPECT_NE(findInOwnLibrary("sess.dll", name), nullptr) << name;
    EXPECT_NE(findInOwnLibrary("ext.dll", "createJunction"), nullptr);
}

} // namespace kovra::contract
