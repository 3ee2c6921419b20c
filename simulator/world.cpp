#include "simulator/world.h"

#include "simulator/pattern.h"
#include "simulator/windowsVersions.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace kovra::simulation {

std::string nameOf(simulated::Account account) {
    if (account == simulated::Account::localSystem)
        return "system";
    return account == simulated::Account::administrator ? "admin" : "user";
}

simulated::Account accountOf(std::string_view name) {
    if (name == "system")
        return simulated::Account::localSystem;
    return name == "admin" ? simulated::Account::administrator : simulated::Account::user;
}

void SystemOnDesktop::look(const simulated::Machine& machine) {
    const std::vector<const simulated::Process*> processes = machine.processes.list();
    const bool isThere = std::any_of(processes.begin(), processes.end(), [&](const simulated::Process* each) {
        return each->account == simulated::Account::localSystem &&
               simulated::sameAnsiName(each->name, "kovra.exe") &&
               machine.processes.find(each->launchedBy) != nullptr &&
               machine.sessions.isDesktopOpen(each->session);
    });
    if (isThere) {
        since_ = since_.value_or(machine.scheduler.now());
    } else {
        longest_ = longest(machine);
        since_.reset();
    }
}

std::uint64_t SystemOnDesktop::longest(const simulated::Machine& machine) const {
    return std::max(longest_, since_ ? machine.scheduler.now() - *since_ : 0);
}

World::World() {
    machine.keepHappenings = false;
    machine.version = *findWindows("10");
    machine.files.makeFolder(L"C:\\P1");
    installProduct(L"C:\\Kovra", L"C:\\Kovra");
    machine.processes.onStart["kovra.exe"] = [this](const simulated::Process& process) {
        const auto whileItRuns = [this, id = process.id](auto deed) {
            return [this, id, deed] {
                if (machine.processes.find(id) != nullptr)
                    deed(id);
            };
        };
        clients.erase("application"); // what the one before has said
        if (!application.mailslot.empty())
            machine.mailslots.make(application.mailslot, process.id);
        if (application.reportsAfter)
            machine.scheduler.after(*application.reportsAfter, whileItRuns([this](DWORD) {
                clients["application"] = machine.pipes.say("appLaunched");
            }));
        if (application.diesAfter)
            machine.scheduler.after(*application.diesAfter,
                                    whileItRuns([this](DWORD id) { machine.processes.end(id); }));
    };
}

void World::installProduct(const std::wstring& root, const std::wstring& data) {
    simulated::FileSystem& files = machine.files;
    if (!installRoot.empty()) {
        files.remove(installRoot);
        files.remove(dataRoot);
    }
    installRoot = root;
    dataRoot = data;
    machine.launcherPath = root + L"\\bin\\kovraLauncher.exe";
    files.write(machine.launcherPath, "");
    files.write(root + L"\\bin\\Kovra.exe", "");
    files.write(data + L"\\www\\index.php", "");
    files.makeFolder(data + L"\\data\\temp");
    files.makeFolder(data + L"\\shared");
    files.write(root + L"\\bin\\appDataPath", machine.codePage.toAnsi(data));
}

Beginning World::lookAtAll() const {
    Beginning now{machine.files.snapshot(), machine.registry.contents(), machine.services.list()};
    std::erase_if(now.files, [](const auto& entry) { return entry.first.starts_with(L"C:\\P1"); });
    return now;
}

DWORD World::sessionIn(const Arguments& arguments) const {
    return static_cast<DWORD>(arguments.number("in", std::max(0, machine.sessions.active)));
}

std::string World::bytesOf(std::string_view text) const {
    std::string bytes;
    while (!text.empty()) {
        const std::size_t escape = std::min(text.find('\\'), text.size());
        bytes += machine.codePage.toAnsi(toWide(text.substr(0, escape)));
        text.remove_prefix(escape);
        constexpr std::string_view digits = "0123456789ABCDEF";
        const auto digit = [&](std::size_t at) {
            return at < text.size() ? digits.find(text[at]) : std::string_view::npos;
        };
        if (text.starts_with("\\0")) {
            bytes += '\0';
            text.remove_prefix(2);
        } else if (text.starts_with("\\x") && digit(2) < digits.size() && digit(3) < digits.size()) {
            bytes += static_cast<char>(digit(2) * 16 + digit(3));
            text.remove_prefix(4);
        } else if (!text.empty()) {
            bytes += text.front();
            text.remove_prefix(1);
        }
    }
    return bytes;
}

std::string World::fromBytes(std::string_view bytes) const {
    return toUtf8(machine.codePage.toWide(bytes));
}

std::string World::escapedFromBytes(std::string_view bytes) const {
    std::wstring text;
    for (const wchar_t character : machine.codePage.toWide(bytes)) {
        if (character < 0x20 || (character >= 0x7F && character < 0xA0)) {
            wchar_t escape[5];
            std::swprintf(escape, std::size(escape), L"\\x%02X", static_cast<unsigned>(character));
            text += escape;
        } else {
            text += character;
        }
    }
    return toUtf8(text);
}

std::string World::contentOf(const std::vector<std::string>& lines) const {
    std::string content;
    for (const std::string& line : lines)
        (content += machine.codePage.toAnsi(toWide(line))) += "\r\n";
    return content;
}

std::wstring classesKey(const Arguments& arguments) {
    return arguments.wide("KEY").substr(std::wstring_view{L"HKCR\\"}.size());
}

} // namespace kovra::simulation
