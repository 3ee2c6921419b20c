#pragma once

#include <string>

namespace kovra {

/// Has the shell start a program with its window hidden, `folder` being its working folder, and returns at
/// once: whether the program came up, and how it ends, is not told. `operation` is the shell's verb; an empty
/// one stands for the program's default verb.
void startHidden(const char* operation, const char* program, const std::wstring& parameters,
                 const std::wstring& folder);

} // namespace kovra
