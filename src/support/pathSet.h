#pragma once

#include "platform/perProcess.h"

#include <string>

namespace kovra {

/// Where the installation and its data are. `initPaths` fills the record; all others only read it. Folder
/// paths have no trailing backslash, and none of the folders need exist but `dataRoot`.
struct PathSet {
    std::wstring exeFolder;     ///< folder of the running executable
    std::wstring installRoot;   ///< parent of `exeFolder`
    std::wstring dataFolder;    ///< `data` in `dataRoot`
    std::wstring tempFolder;    ///< `data\temp` in `dataRoot`
    std::wstring wwwFolder;     ///< `www` in `dataRoot`
    std::wstring sharedFolder;  ///< `shared` in `dataRoot`
    std::wstring apacheFolder;  ///< `Apache` in `installRoot`
    std::wstring phpFolder;     ///< `PHP` in `installRoot`
    std::wstring dataRoot;      ///< root of the data tree
    std::wstring defaultFolder; ///< `default` in `exeFolder`
    std::wstring dataScope;     ///< for whom the data tree exists: "all", "current", or empty in service mode
    bool usesJunction = false;  ///< the data is reached through junctions in `installRoot`
};

inline PerProcess<PathSet> pathSet;

} // namespace kovra
