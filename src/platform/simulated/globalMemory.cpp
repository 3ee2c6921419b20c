#include "platform/simulated/machine.h"

using namespace kovra::simulated;

HGLOBAL GlobalAlloc(UINT flags, SIZE_T size) {
    const Call<"GlobalAlloc"> call;
    if (call.fails() || flags != GMEM_ZEROINIT)
        return nullptr;
    auto memory = std::make_unique<char[]>(size);
    char* const block = memory.get();
    machine().globalMemory.emplace(block, std::move(memory));
    return block;
}

HGLOBAL GlobalFree(HGLOBAL memory) {
    const Call<"GlobalFree"> call;
    if (memory == nullptr)
        return nullptr;
    const bool isKnown = machine().globalMemory.erase(memory) == 1;
    call.expect(isKnown, "unknown memory");
    return isKnown ? nullptr : memory;
}
