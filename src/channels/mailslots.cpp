#include "channels/mailslots.h"

#include "platform/handles.h"
#include "support/text.h"
#include "support/trace.h"

#include <string_view>

namespace kovra {

namespace {

/// The application's mailslot; empty when there is none.
FileHandle openSlot() {
    // Every user may set the index. It is to lengthen the name: a separator would lead out of the mailslots,
    // to any file, pipe or machine that the service may write to, and a 0 would cut the name.
    constexpr std::string_view never{"\\/\0", 3};
    const std::string index = toAnsi(*mailslotIndex);
    if (index.find_first_of(never) != std::string::npos)
        return {};
    const std::string path = "\\\\.\\mailslot\\kovraMailslot" + index;
    return FileHandle{CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr)};
}

} // namespace

void sendToApp(const std::wstring& message) {
    sendMailslotMessage(message);
}

bool sendMailslotMessage(const std::wstring& message) {
    FileHandle slot = openSlot();
    const bool opened = static_cast<bool>(slot);
    if (opened) {
        const std::string bytes = toAnsi(message);
        DWORD written = 0;
        // The terminator belongs to the message.
        WriteFile(slot.get(), bytes.c_str(), static_cast<DWORD>(bytes.size() + 1), &written, nullptr);
        slot.close();
    }
    writeLog(L"mailslot message sent: " + message + L" to slot " + (opened ? L"-1" : L"0"));
    return opened;
}

} // namespace kovra
