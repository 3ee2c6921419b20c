#pragma once

#include "platform/win32.h"

#include <objbase.h>

/// Makes the file-system object, as every run of the launcher has to for where its installation and data are.
/// Gives whether it is there.
inline bool makeFileSystemObject() {
    CLSID classId{};
    void* object = nullptr;
    CoInitialize(nullptr);
    return SUCCEEDED(CLSIDFromProgID(L"Scripting.FileSystemObject", &classId)) &&
           SUCCEEDED(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, &object));
}
