#include "platform/simulated/machine.h"

#include <cstring>

struct ITEMIDLIST {
    std::wstring path;
};

namespace kovra::simulated {

SpecialFolders::SpecialFolders() {
    const std::wstring roaming = L"C:\\Users\\user\\AppData\\Roaming";
    const std::wstring shared = L"C:\\ProgramData";
    const std::wstring startup = L"\\Microsoft\\Windows\\Start Menu\\Programs\\Startup";
    paths = {{CSIDL_APPDATA, roaming},
             {CSIDL_COMMON_APPDATA, shared},
             {CSIDL_STARTUP, roaming + startup},
             {CSIDL_COMMON_STARTUP, shared + startup}};
    const std::wstring services = L"C:\\Windows\\System32\\config\\systemprofile\\AppData\\Roaming";
    servicesPaths = {{CSIDL_APPDATA, services}, {CSIDL_STARTUP, services + startup}};
    environment = {{L"APPDATA", roaming}, {L"SystemDrive", L"C:"}, {L"USERPROFILE", L"C:\\Users\\user"}};
}

} // namespace kovra::simulated

using namespace kovra::simulated;

HRESULT SHGetSpecialFolderLocation(HWND, int folder, ITEMIDLIST** list) {
    const Call<"SHGetSpecialFolderLocation"> call;
    *list = nullptr;
    SpecialFolders& folders = machine().shell.specialFolders;
    const bool areServices =
        callersAccount() == Account::localSystem && folders.servicesPaths.contains(folder);
    const auto& paths = areServices ? folders.servicesPaths : folders.paths;
    if (call.fails() || !paths.contains(folder))
        return static_cast<HRESULT>(0x80004005U); // E_FAIL
    *list = new ITEMIDLIST{paths.at(folder)};
    folders.lists.emplace(*list, *list);
    return 0;
}

BOOL SHGetPathFromIDListA(const ITEMIDLIST* list, LPSTR path) {
    const Call<"SHGetPathFromIDListA"> call;
    Machine& here = machine();
    if (call.fails() || !here.shell.specialFolders.lists.contains(list))
        return FALSE;
    const std::string text = here.codePage.toAnsi(list->path);
    if (text.size() >= MAX_PATH)
        return FALSE;
    std::memcpy(path, text.c_str(), text.size() + 1);
    return TRUE;
}

void CoTaskMemFree(LPVOID memory) {
    const Call<"CoTaskMemFree"> call;
    auto& lists = machine().shell.specialFolders.lists;
    call.expect(memory == nullptr || lists.erase(memory) == 1, "unknown memory");
}
