#include "integration/shortcuts.h"

#include "support/fileSystem.h"
#include "support/pathSet.h"
#include "support/systemFacts.h"
#include "support/text.h"

namespace kovra {

namespace {

constexpr std::int32_t windowStyle = 4; // as last shown, without taking the focus

void removeProductFiles(const std::wstring& startupFolder) {
    const std::optional<Folder> folder = fileSystem().GetFolder(startupFolder);
    if (!folder)
        return;
    for (File& file : folder->Files()) {
        const std::optional<std::wstring> name = file.Name();
        if (name && toLower(*name).find(L"kovra") != std::wstring::npos)
            file.Delete(false);
    }
}

/// The Startup folder that the scope names; empty when there is none.
std::wstring folderOfScope(const std::wstring& scope, const std::wstring& allUsers,
                           const std::wstring& currentUser) {
    if (scope == L"all")
        return allUsers;
    if (scope == L"current")
        return currentUser;
    return {};
}

void layShortcut(const WshShell& shell, const std::wstring& path) {
    std::optional<Shortcut> shortcut = shell.createShortcut(path);
    if (!shortcut)
        return;
    const std::wstring& exeFolder = pathSet->exeFolder;
    if (const auto target = shell.ExpandEnvironmentStrings(L"\"" + exeFolder + L"\\Kovra.exe\""))
        shortcut->setTargetPath(*target);
    shortcut->setArguments(L"-minimized");
    if (const auto workingFolder = shell.ExpandEnvironmentStrings(L"\"" + exeFolder + L"\""))
        shortcut->setWorkingDirectory(*workingFolder);
    shortcut->setWindowStyle(windowStyle);
    if (const auto icon = shell.ExpandEnvironmentStrings(exeFolder + L"\\Kovra.exe, 0"))
        shortcut->setIconLocation(*icon);
    shortcut->Save();
}

} // namespace

void createShortcuts(const std::wstring& scope, bool serviceInstalled) {
    const WshShell shell = WshShell::create();
    const std::wstring allUsers = getSpecialFolder(CSIDL_COMMON_STARTUP);
    removeProductFiles(allUsers);
    const std::wstring currentUser = getSpecialFolder(CSIDL_STARTUP);
    removeProductFiles(currentUser);
    if (serviceInstalled)
        return;
    const std::wstring folder = folderOfScope(scope, allUsers, currentUser);
    if (!folder.empty())
        layShortcut(shell, folder + L"\\Kovra.lnk");
}

} // namespace kovra
