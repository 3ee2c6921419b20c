#include "platform/simulated/machine.h"

using namespace kovra::simulated;

HGLOBAL GlobalAlloc(UINT flags, SIZE_T size) {
    const Call<"GlobalAlloc"> call;
    if (call.fails() || flags != GMEM_ZEROINIT)
        return nullptr;
    auto memory = std::make_unique<char[]>(size);
    char* const block = memory.get();
    currentThread()->process()->memory.emplace(block, std::move(memory));
    return block;
}

HGLOBAL GlobalFree(HGLOBAL memory) {
    const Call<"GlobalFree"> call;
    if (memory == nullptr)
        return nullptr;
    const bool isKnown = currentThread()->process()->memory.erase(memory) == 1;
    call.expect(isKnown, "unknown memory");
    return isKnown ? nullptr : memory;
}
