#pragma once

#include "platform/perProcess.h"

#include <string>

// Messages to the running application: one-way, without an answer.

namespace kovra {

/// The text behind the name of the application's mailslot; the application sets it by a control command. With
/// a "\", a "/" or a 0 in it there is no such slot.
inline PerProcess<std::wstring> mailslotIndex;

/// Sends the text to the application's mailslot, if there is one. It never waits and tells no failure.
void sendToApp(const std::wstring& message);

/// The same; gives whether the mailslot could be opened, which does not mean that anybody reads it.
bool sendMailslotMessage(const std::wstring& message);

} // namespace kovra
