#include "frontend/dataFolders.h"

#include "platform/ext.h"
#include "support/fileSystem.h"
#include "support/pathSet.h"
#include "support/text.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace kovra {

namespace {

constexpr const wchar_t* dataTree[] = {L"\\www", L"\\data", L"\\shared"};

/// Yes for a single byte above 127 in the ANSI code page. A double-byte character doesn't count, nor does one
/// that the code page lacks, which is a question mark there.
bool isSpecial(wchar_t character) {
    const std::string bytes = toAnsi({&character, 1});
    return bytes.size() == 1 && static_cast<BYTE>(bytes.front()) > 127;
}

/// Whether the junctions are there is seen by their folders alone, whoever made them. When one is missing,
/// those that came with it go again: with a `www` alone in the root the next run would take the root for the
/// data.
bool makeJunctions(const std::wstring& dataRoot, const std::wstring& installRoot) {
    const auto isThere = [&](const wchar_t* folder) {
        return fileSystem().FolderExists(installRoot + folder);
    };
    std::vector<const wchar_t*> missing;
    std::copy_if(std::begin(dataTree), std::end(dataTree), std::back_inserter(missing),
                 [&](const wchar_t* folder) { return !isThere(folder); });
    for (const wchar_t* folder : dataTree)
        createJunction(toAnsi(dataRoot + folder).c_str(), toAnsi(installRoot + folder).c_str());
    if (std::all_of(std::begin(dataTree), std::end(dataTree), isThere))
        return true;
    for (const wchar_t* folder : missing)
        RemoveDirectoryA(toAnsi(installRoot + folder).c_str());
    return false;
}

void makeShortcuts(const std::wstring& dataRoot, const std::wstring& installRoot) {
    const WshShell shell = WshShell::create();
    for (const wchar_t* folder : dataTree) {
        const std::wstring path = installRoot + folder + L".lnk";
        if (fileSystem().FileExists(path))
            continue;
        if (std::optional<Shortcut> shortcut = shell.createShortcut(path)) {
            shortcut->setTargetPath(dataRoot + folder);
            shortcut->Save();
        }
    }
}

} // namespace

bool prepareDataFolders() {
    PathSet& paths = *pathSet;
    if (std::any_of(paths.dataRoot.begin(), paths.dataRoot.end(), isSpecial))
        paths.usesJunction = true;
    if (!paths.usesJunction) {
        makeShortcuts(paths.dataRoot, paths.installRoot);
        return true;
    }
    if (!makeJunctions(paths.dataRoot, paths.installRoot))
        return false;
    paths.dataRoot = paths.installRoot;
    static_cast<void>(fileSystem().CreateTextFile(markerFile(), true)); // empty: its stream goes at once
    return true;
}

std::wstring markerFile() {
    return pathSet->installRoot + L"\\data\\junction";
}

} // namespace kovra
