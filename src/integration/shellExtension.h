#pragma once

namespace kovra {

/// Takes a new version of the shell extension into use that an update has laid beside the live one, although
/// Windows Explorer may hold that, then registers the context menu in the way that suits the Windows version.
/// A step that fails is skipped; a new version that could not be taken into use stays for the next time.
void updateAndRegisterShellExtension();

} // namespace kovra
