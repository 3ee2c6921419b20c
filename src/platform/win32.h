#pragma once

// Windows' own names. On Windows they are Windows'; elsewhere the simulated machine answers to them.

#ifdef _WIN32
// clang-format off: <windows.h> goes first.
#include <shellapi.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <windows.h>
#include <winternl.h>
// clang-format on

// Names of the automation objects' methods, which the headers above would rewrite.
#undef DeleteFile
#undef MoveFile
#else
#include "platform/simulated/win32.h"
#endif
