#include "channels/mailslots.h"

#include "platform/handles.h"
#include "support/text.h"
#include "support/trace.h"

namespace kovra {

void sendToApp(const std::wstring& message) {
    sendMailslotMessage(message);
}

bool sendMailslotMessage(const std::wstring& message) {
    const std::string path = toAnsi(L"\\\\.\\mailslot\\kovraMailslot" + *mailslotIndex);
    FileHandle slot{CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr)};
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
