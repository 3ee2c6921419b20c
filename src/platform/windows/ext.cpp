#include "platform/ext.h"

#include "platform/win32.h"
#include "platform/windows/ownLibrary.h"

namespace kovra {

void createJunction(const char* target, const char* link) {
    auto* const function =
        reinterpret_cast<void(WINAPI*)(LPCSTR, LPCSTR)>(findInOwnLibrary("ext.dll", "createJunction"));
    if (function != nullptr)
        function(target, link);
}

} // namespace kovra
