#include "platform/simulated/machine.h"

namespace kovra::simulated {

BOOL AnonymousPipe::read(char* buffer, DWORD size, DWORD& read) {
    machine().scheduler.blockUntil(Scheduler::never, [&] { return !bytes.empty() || writers == 0; });
    for (read = 0; read < size && !bytes.empty(); ++read) {
        buffer[read] = bytes.front();
        bytes.pop_front();
    }
    return read > 0;
}

} // namespace kovra::simulated

using namespace kovra::simulated;

BOOL CreatePipe(HANDLE* readEnd, HANDLE* writeEnd, SECURITY_ATTRIBUTES* attributes, DWORD size) {
    const Call<"CreatePipe"> call;
    call.expect(size == 0 && attributes != nullptr && attributes->nLength == sizeof *attributes &&
                    attributes->lpSecurityDescriptor == nullptr,
                "attributes, size");
    if (call.fails())
        return FALSE;
    const auto pipe = std::make_shared<AnonymousPipe>();
    *readEnd = machine().handles.add(PipeReadEnd{pipe});
    *writeEnd = machine().handles.add(PipeWriteEnd{pipe, attributes->bInheritHandle != 0});
    return TRUE;
}
