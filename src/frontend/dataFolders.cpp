#include "frontend/dataFolders.h"

#include "platform/ext.h"
#include "platform/junctions.h"
#include "support/fileSystem.h"
#include "support/pathSet.h"
#include "support/systemFacts.h"
#include "support/text.h"

#include <algorithm>
#include <iterator>

namespace kovra {

namespace {

constexpr const wchar_t* dataTree[] = {L"\\www", L"\\data", L"\\shared"};
constexpr const wchar_t* markerName = L"\\junction"; // in the data folder

/// Yes for a single byte above 127 in the ANSI code page. A double-byte character doesn't count, nor does one
/// that the code page lacks, which is a question mark there.
bool isSpecial(wchar_t character) {
    const std::string bytes = toAnsi({&character, 1});
    return bytes.size() == 1 && static_cast<BYTE>(bytes.front()) > 127;
}

/// What stands in the root in the place of a folder of the data tree.
struct Place {
    std::wstring path;
    bool isThere = false;
    std::string junction; // its record; empty where there is none
};

bool isThere(const Place& place) {
    return fileSystem().FolderExists(place.path);
}

void putBack(const Place& before) {
    if (!before.isThere)
        RemoveDirectoryA(toAnsi(before.path).c_str());
    else if (junctionRecord(before.path) != before.junction)
        setJunctionRecord(before.path, before.junction);
}

/// Whether the junctions are there is seen by their folders alone, whoever made them. When one is missing,
/// all is as it was before: with a `www` alone in the root the next run would take the root for the data.
bool makeJunctions(const std::wstring& dataRoot, const std::wstring& installRoot) {
    Place places[std::size(dataTree)];
    for (std::size_t i = 0; i < std::size(dataTree); ++i) {
        Place& place = places[i];
        place.path = installRoot + dataTree[i];
        place.isThere = isThere(place);
        place.junction = junctionRecord(place.path);
        createJunction(toAnsi(dataRoot + dataTree[i]).c_str(), toAnsi(place.path).c_str());
    }
    if (std::all_of(std::begin(places), std::end(places), isThere))
        return true;
    std::for_each(std::begin(places), std::end(places), putBack);
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

std::wstring dataRootIn(int csidl) {
    const std::wstring& installRoot = pathSet->installRoot;
    return getSpecialFolder(csidl) + installRoot.substr(installRoot.rfind(L'\\'));
}

std::wstring dataBehindJunction() {
    if (!pathSet->usesJunction)
        return {};
    // The marker tells: the junction itself may be another one by now, which anybody has laid.
    for (const int csidl : {CSIDL_APPDATA, CSIDL_COMMON_APPDATA}) {
        std::wstring folder = dataRootIn(csidl) + L"\\data";
        if (fileSystem().FileExists(folder + markerName))
            return folder;
    }
    return {};
}

std::wstring markerFile() {
    return pathSet->installRoot + L"\\data" + markerName;
}

} // namespace kovra
