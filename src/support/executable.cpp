#include "support/executable.h"

#include "platform/win32.h"
#include "support/text.h"

namespace kovra {

std::wstring executablePath() {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, sizeof path);
    return fromAnsiBuffer(path, sizeof path);
}

std::wstring executableFolder() {
    const std::wstring path = executablePath();
    const std::size_t backslash = path.rfind(L'\\');
    if (backslash == std::wstring::npos)
        return {};
    // "C:\" keeps its backslash: without it the path would mean the drive's current folder.
    return path.substr(0, backslash == 2 ? backslash + 1 : backslash);
}

std::wstring executableName() {
    const std::wstring path = executablePath();
    const std::wstring_view name = fileNameOf(path);
    return std::wstring{name.substr(0, name.rfind(L'.'))};
}

} // namespace kovra
