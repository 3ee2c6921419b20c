#pragma once

#include "platform/handles.h"

#include <string>

namespace kovra {

/// Runs console commands hidden and captures what they write.
class clsDOS {
public:
    /// Runs one command line (a program with its arguments, no shell syntax) and returns when it has closed
    /// its output: standard output and standard error as one text. Empty when the command could not be
    /// started.
    std::wstring ExecuteCommand(const std::wstring& DOSCommand);

private:
    void readOutput();

    std::wstring command_;
    std::wstring output_;
    KernelHandle process_;
    KernelHandle thread_;
    KernelHandle readEnd_;
    KernelHandle writeEnd_;
};

} // namespace kovra
