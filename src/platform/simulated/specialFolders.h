#pragma once

#include "platform/simulated/caseless.h"
#include "platform/simulated/win32.h"

#include <map>
#include <memory>
#include <string>

namespace kovra::simulated {

/// Where the logged-on user finds things: the shell's special folders and the environment.
struct SpecialFolders {
    SpecialFolders();
    ~SpecialFolders();

    /// By CSIDL number; a lookup of one that isn't there fails.
    std::map<int, std::wstring> paths;
    std::map<std::wstring, std::wstring, Caseless> environment;

    /// The item lists that were given out and not freed.
    std::map<const void*, std::unique_ptr<ITEMIDLIST>> lists;
};

} // namespace kovra::simulated
