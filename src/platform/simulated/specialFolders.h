#pragma once

#include "platform/simulated/caseless.h"
#include "platform/simulated/win32.h"

#include <map>
#include <memory>
#include <string>

namespace kovra::simulated {

/// Where programs find things: the shell's special folders and the environment.
struct SpecialFolders {
    SpecialFolders();
    ~SpecialFolders();

    /// The logged-on user's and everybody's, by CSIDL number; a lookup of one that isn't there fails.
    std::map<int, std::wstring> paths;
    /// What LocalSystem has in place of the user's.
    std::map<int, std::wstring> servicesPaths;
    std::map<std::wstring, std::wstring, Caseless> environment;

    /// The item lists that were given out and not freed.
    std::map<const void*, std::unique_ptr<ITEMIDLIST>> lists;
};

} // namespace kovra::simulated
