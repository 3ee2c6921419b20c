#pragma once

#include <optional>
#include <string>

// The product's entries in the context menu of the Windows shell. Up to Windows Vista the shell extension
// makes them; from Windows 7 on they are registry keys, imported from a template that is filled in at run
// time.

namespace kovra {

/// Yes when the entries are in the registry.
[[nodiscard]] bool isContextMenuRegistered();

/// Yes up to Windows Vista, where the shell extension is what makes the entries.
[[nodiscard]] bool shellExtensionMakesMenu();

/// Starts regsvr32 hidden in the launcher's folder and doesn't wait for it.
void startRegsvr32(const std::wstring& arguments);

/// Fills in the template and has regedit import it, without waiting for it: the entries, or with `addMenu` no
/// their removal. What can't be read or written is skipped. No when the language file can't be read: nothing
/// has been written or started then.
[[nodiscard]] bool registerWin7ContextMenu(bool addMenu);

/// Removes the file types and the context menu. Gives whether the entries are gone from the registry; empty
/// when the language file can't be read: what only the template knows has then stayed.
[[nodiscard]] std::optional<bool> unregisterContextMenu();

} // namespace kovra
