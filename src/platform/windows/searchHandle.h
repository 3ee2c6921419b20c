#pragma once

#include "platform/handles.h"

namespace kovra {

struct SearchKind {
    using Value = HANDLE;

    static Value invalid() { return INVALID_HANDLE_VALUE; }

    static void close(Value value) { FindClose(value); }
};

using SearchHandle = OwnedHandle<SearchKind>;

} // namespace kovra
