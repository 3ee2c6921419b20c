#include "support/hiddenProgram.h"

#include "platform/win32.h"
#include "support/text.h"

namespace kovra {

void startHidden(const char* operation, const char* program, const std::wstring& parameters,
                 const std::wstring& folder) {
    ShellExecuteA(nullptr, operation, program, toAnsi(parameters).c_str(), toAnsi(folder).c_str(), SW_HIDE);
}

} // namespace kovra
