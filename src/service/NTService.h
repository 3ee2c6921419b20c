#pragma once

namespace kovra {

/// The whole life of the service on the main thread. It ends the process itself, except where Windows is
/// older than 2000 or another instance of the launcher runs: there it returns at once.
void runService();

} // namespace kovra
