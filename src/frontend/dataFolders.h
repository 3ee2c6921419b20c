#pragma once

#include <string>

namespace kovra {

/// Makes a data tree that lies outside the installation's root reachable from the root: by three shell
/// shortcuts where its path is plain; by three junctions where it holds special characters, and the root then
/// takes the place of the tree's own path in `dataRoot` of `PathSet`. No when the junctions can't be seen
/// afterwards, with `dataRoot` unchanged; a shortcut or the marker file that can't be made is left out.
[[nodiscard]] bool prepareDataFolders();

/// The data tree's root in the special folder with that number: the folder with the installation's name.
[[nodiscard]] std::wstring dataRootIn(int csidl);

/// Where the data really lies that the junction `data` in the installation's root shows; empty when there is
/// no such junction or it can't be told. `pathSet` must be filled.
[[nodiscard]] std::wstring dataBehindJunction();

/// The file whose presence records that the data folders in the installation's root are junctions.
[[nodiscard]] std::wstring markerFile();

} // namespace kovra
