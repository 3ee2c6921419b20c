#pragma once

#include <string>

// Folders that show what lies elsewhere: junctions, and symbolic links to folders, which are treated alike.

namespace kovra {

/// What the file system keeps in the junction at the path; empty for an ordinary folder, where nothing is,
/// and where it can't be told.
[[nodiscard]] std::string junctionRecord(const std::wstring& path);

/// Gives the folder another record, or makes it an ordinary empty folder by an empty one; no when it can't be
/// done.
bool setJunctionRecord(const std::wstring& path, const std::string& record);

/// Takes the junction away, a read-only one too, without what it leads to; no when it can't be done.
bool removeJunction(const std::wstring& path);

/// Takes all junctions below the folder away in the same way, following none; no when one of them stays.
[[nodiscard]] bool removeJunctionsBelow(const std::wstring& folder);

} // namespace kovra
