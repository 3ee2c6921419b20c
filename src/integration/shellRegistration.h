#pragma once

namespace kovra {

/// Ties the product into the Windows shell: its file type with two extensions, then the shell extension and
/// the context menu. What can't be written is left out without a word. No when the language file can't be
/// read: the routine has then stopped ahead of the first caption.
[[nodiscard]] bool registerContextMenu();

} // namespace kovra
