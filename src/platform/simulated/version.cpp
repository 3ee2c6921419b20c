#include "platform/simulated/machine.h"

using namespace kovra::simulated;

BOOL GetVersionExA(OSVERSIONINFOA* information) {
    const Call<"GetVersionExA"> call;
    if (call.fails() || information->dwOSVersionInfoSize != sizeof(OSVERSIONINFOA))
        return FALSE;
    const WindowsVersion& version = machine().version;
    information->dwMajorVersion = version.major;
    information->dwMinorVersion = version.minor;
    information->dwPlatformId = version.platformId;
    return TRUE;
}
