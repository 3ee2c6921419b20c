#include "channels/incomingCommands.h"

#include "channels/mailslots.h"
#include "integration/contextMenu.h"
#include "integration/serviceInstallation.h"
#include "integration/shellRegistration.h"
#include "integration/shortcuts.h"
#include "integration/uninstall.h"
#include "platform/sess.h"
#include "service/appRunState.h"
#include "service/processControl.h"
#include "support/settings.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

#include <optional>

namespace kovra {

namespace {

/// A control command, split. All but the verb are empty where the text has none.
struct Command {
    std::wstring verb;     // up to the first blank
    std::wstring argument; // behind it, without blanks at both ends
    std::wstring key;      // of the argument, up to its first "="
    std::wstring value;    // behind it
};

Command split(const std::wstring& text) {
    Command command;
    const std::size_t blank = text.find(L' ');
    command.verb = text.substr(0, blank);
    if (blank == std::wstring::npos)
        return command;
    command.argument = trim(std::wstring_view{text}.substr(blank + 1));
    const std::size_t equals = command.argument.find(L'=');
    if (equals != std::wstring::npos) {
        command.key = command.argument.substr(0, equals);
        command.value = command.argument.substr(equals + 1);
    }
    return command;
}

bool hasSessionKey(const Command& command) {
    return command.key == L"useSessionId";
}

/// The session that the command asks for; empty when it has no key or, with a trace line, a bad number.
std::optional<std::int32_t> sessionAskedFor(const Command& command) {
    if (!hasSessionKey(command))
        return std::nullopt;
    const std::optional<std::int32_t> session = parseDecimal(command.value);
    if (!session)
        writeLog(L"Incorrect useSessionId \"" + command.value + L"\", ignored");
    return session;
}

void useSession(std::int32_t session) {
    appRunState->forcedSessionId = session;
    appRunState->watchedSessionId = getActiveConsoleSessionId();
}

void exitService(const Command&) {
    appRunState->exitRequested = true;
}

void appExited(const Command&) {
    appRunState->appExpected = false;
}

void appLaunched(const Command& command) {
    appRunState->appExpected = true;
    appRunState->resumeOnNextStart = false;
    if (const std::optional<std::int32_t> session = sessionAskedFor(command))
        useSession(*session);
}

void relaunchApp(const Command& command) {
    if (const std::optional<std::int32_t> session = sessionAskedFor(command)) {
        useSession(*session);
        writeLog(L"relaunchApp received: kill kovra");
        killApplication();
    } else {
        writeLog(L"Incorrect relaunchApp command, missing \"forcedSessionId\" arg");
    }
    appRunState->appExpected = true;
}

void sessionShutdown(const Command&) {
    if (getWindowsMajorVersion() >= 6) {
        writeLog(L"Requested relaunch canceled");
        return;
    }
    appRunState->sessionShutdownPending = true;
    killApplication();
}

void registerMenu(const Command&) {
    if (!registerContextMenu())
        reportError(languageFileError);
}

void unregisterMenu(const Command&) {
    if (!unregisterContextMenu())
        reportError(languageFileError);
}

void resetShortcuts(const Command& command) {
    createShortcuts(command.argument, false);
}

void uninstallAllServices(const Command& command) {
    uninstallServices();
    resetShortcuts(command);
}

void installService(const Command& command) {
    static_cast<void>(installServices()); // the shortcuts are laid whatever became of it
    resetShortcuts(command);
}

void setMailslotIndex(const Command& command) {
    *mailslotIndex = command.argument;
}

void installTranscoder(const Command& command) {
    installFfmpegFrom(command.argument);
}

void testCommand(const Command& command) {
    writeLog(L"TEST IN =>/" + command.argument + L"/");
    sendToApp(L"removeTrayIcon");
}

struct Verb {
    std::wstring_view name;
    void (*carryOut)(const Command&);
};

constexpr Verb verbs[] = {
    {L"exit", exitService},
    {L"appExited", appExited},
    {L"appLaunched", appLaunched},
    {L"relaunchApp", relaunchApp},
    {L"sessionShutdown", sessionShutdown},
    {L"registerContextMenu", registerMenu},
    {L"unregisterContextMenu", unregisterMenu},
    {L"uninstallServices", uninstallAllServices},
    {L"installServices", installService},
    {L"resetShortcuts", resetShortcuts},
    {L"setMailslotIndex", setMailslotIndex},
    {L"installFfmpegFrom", installTranscoder},
    {L"test", testCommand},
};

} // namespace

std::wstring handleCommand(const std::wstring& message) {
    const std::wstring text = message.starts_with(L'-') ? message.substr(1) : message;
    writeLog(L"receive command from app: " + text);
    const Command command = split(text);
    for (const Verb& verb : verbs) {
        if (verb.name == command.verb) {
            verb.carryOut(command);
            break;
        }
    }
    writeLog(text + L" => OK");
    return L"OK";
}

} // namespace kovra
