#pragma once

#include <string>

namespace kovra {

/// The launcher's entry: does the one job that the command line (the text behind the program name) asks for,
/// and ends the process. It returns only where the service refused to run.
void main(const std::wstring& commandLine);

} // namespace kovra
