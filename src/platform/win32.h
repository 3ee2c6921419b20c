#pragma once

// Windows' own names. On Windows they are Windows'; elsewhere the simulated machine answers to them.

#ifdef _WIN32
#include <windows.h> // ahead of its neighbours, in a block of its own

#include <shellapi.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <winternl.h>

// Names of the automation objects' methods, which the headers above would rewrite.
#undef DeleteFile
#undef MoveFile
#else
#include "platform/simulated/win32.h"
#endif
