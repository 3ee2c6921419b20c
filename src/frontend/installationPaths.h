#pragma once

namespace kovra {

/// Works out where the installation and its data are and fills `pathSet`. A user's run probes for the data
/// and leaves the answer in the file `appDataPath` beside the executable; in service mode that file is the
/// answer. No when the data can't be found there or can't be prepared. An installation that can't be used at
/// all is reported and ends the process.
[[nodiscard]] bool initPaths();

} // namespace kovra
