#include "platform/simulated/machine.h"

using namespace kovra::simulated;

HANDLE RegisterEventSourceA(LPCSTR server, LPCSTR source) {
    const Call<"RegisterEventSourceA"> call;
    call.expect(server == nullptr && std::string_view{source} == "Kovra", "server, source");
    return call.fails() ? nullptr : machine().handles.add(EventSource::kovra);
}

BOOL ReportEventA(HANDLE log, WORD type, WORD category, DWORD eventId, PSID userSid, WORD stringCount,
                  DWORD dataSize, LPCSTR* strings, LPVOID data) {
    const Call<"ReportEventA"> call;
    call.expect(type == EVENTLOG_INFORMATION_TYPE && category == 0 && eventId == 0 && userSid == nullptr &&
                    stringCount == 1 && dataSize == 0 && data == nullptr,
                "an entry of another kind");
    if (call.fails() || machine().handles.find<EventSource>(log) == nullptr)
        return FALSE;
    machine().tell(Side::launcher, "event log: " + std::string{strings[0]});
    return TRUE;
}

BOOL DeregisterEventSource(HANDLE log) {
    const Call<"DeregisterEventSource"> call;
    const bool closed = machine().handles.close<EventSource>(log);
    call.expect(closed, "an unknown handle");
    return closed;
}
