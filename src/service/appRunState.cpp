#include "service/appRunState.h"

#include "platform/win32.h"

namespace kovra {

void delayNextLaunch(std::uint32_t delayMs) {
    appRunState->minLaunchTime = static_cast<std::int32_t>(GetTickCount() + delayMs);
}

bool isPastMinLaunchTime(std::uint32_t now) {
    return static_cast<std::uint32_t>(appRunState->minLaunchTime) - now > longestLaunchDelayMs;
}

} // namespace kovra
