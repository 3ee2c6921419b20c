#pragma once

#include "platform/simulated/win32.h"

#include <deque>

namespace kovra::simulated {

/// What an anonymous pipe's two ends share.
struct AnonymousPipe {
    std::deque<char> bytes;
    int writers = 1; ///< holders of the write end

    /// Waits for bytes; no when nobody is left to write any.
    BOOL read(char* buffer, DWORD size, DWORD& read);
};

} // namespace kovra::simulated
