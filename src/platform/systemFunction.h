#pragma once

#include "platform/win32.h"

namespace kovra {

/// A function of kernel32.dll that not every Windows has, by its name and the type of a pointer to it; null
/// where it is missing.
template <typename Pointer>
Pointer findSystemFunction(const char* name) {
    // By way of a plain address: the type that Windows gives has nothing in common with the function's own.
    return reinterpret_cast<Pointer>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), name)));
}

} // namespace kovra
