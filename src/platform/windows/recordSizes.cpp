#include "platform/win32.h"

// The sizes that go out with records to the 32-bit Windows.

static_assert(sizeof(FILE_PIPE_LOCAL_INFORMATION) == 40);

#ifndef _WIN64
static_assert(sizeof(SECURITY_ATTRIBUTES) == 12);
static_assert(sizeof(PROCESSENTRY32) == 296);
static_assert(sizeof(STARTUPINFOA) == 68);
static_assert(sizeof(OSVERSIONINFOA) == 148);
static_assert(sizeof(SERVICE_STATUS) == 28);
static_assert(sizeof(TOKEN_PRIVILEGES) == 16);
static_assert(sizeof(SECURITY_DESCRIPTOR) == 20);
#endif
