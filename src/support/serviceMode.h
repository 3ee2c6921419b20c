#pragma once

#include "platform/perProcess.h"

namespace kovra {

/// Yes when the whole command line is "service". It is set before the paths are resolved and never set back.
inline PerProcess<bool> serviceMode;

} // namespace kovra
