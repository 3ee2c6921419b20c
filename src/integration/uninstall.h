#pragma once

#include <string>

namespace kovra {

/// Stops the product's processes, removes its services, shortcuts and shell registration, deletes the files
/// that lie directly in the installation's root and in the data root, and ends the process. With `removeData`
/// the data folder and the MySQL folder go as well, for which it waits 10 seconds at most while others hold
/// them. The launcher's own folder stays. Failures are swallowed.
[[noreturn]] void uninstallApplication(bool removeData);

/// Moves the folder `source` to where the transcoder belongs, in place of what is there. Failures are
/// swallowed: the old transcoder may then be gone without a new one, or stand there still.
void installFfmpegFrom(const std::wstring& source);

} // namespace kovra
