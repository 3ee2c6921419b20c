#include "simulator/scenario.h"
#include "simulator/world.h"

#include <algorithm>

namespace kovra::simulation {

namespace {

using simulated::Happening;
using simulated::Process;
using simulated::Side;

std::string quoted(std::string_view text) {
    return "\"" + std::string{text} + "\"";
}

/// Holds when the two are equal.
Verdict isEqual(const std::string& wanted, const std::optional<std::string>& found) {
    return {found == wanted, found ? quoted(*found) : "none"};
}

Verdict isThere(const Arguments& arguments, bool there) {
    return {there == arguments.has("there"), there ? "it is there" : "it is gone"};
}

std::string describe(const Process& process) {
    return process.name + " in session " + std::to_string(process.session) + " as " +
           nameOf(process.account) + " with " + quoted(process.arguments);
}

/// The processes of the name, in the session and with the rights that the line may give.
std::vector<const Process*> matching(const World& world, std::string_view name, const Arguments& arguments,
                                     std::string& seen) {
    std::vector<const Process*> found;
    for (const Process* process : world.machine.processes.list()) {
        if (!simulated::sameAnsiName(process->name, name))
            continue;
        seen += (seen.empty() ? "" : ", ") + describe(*process);
        const bool inSession = !arguments.has("in") || process->session == world.sessionIn(arguments);
        const bool withRights = !arguments.has("as") || process->account == accountOf(arguments.text("as"));
        const bool withArguments = !arguments.has("with") || process->arguments == arguments.text("with");
        if (inSession && withRights && withArguments)
            found.push_back(process);
    }
    if (seen.empty())
        seen = "no " + std::string{name};
    return found;
}

/// There is one application and no other, and it is as the line says.
Verdict applicationRuns(World& world, const Arguments& arguments) {
    std::string seen;
    const bool asWanted = matching(world, "kovra.exe", arguments, seen).size() == 1;
    return {asWanted && world.machine.processes.count("kovra.exe") == 1, seen};
}

Verdict applicationGone(World& world, const Arguments&) {
    std::string seen;
    return {matching(world, "kovra.exe", {}, seen).empty(), seen};
}

Verdict processRuns(World& world, const Arguments& arguments) {
    std::string seen;
    const std::size_t count = matching(world, arguments.text("NAME"), arguments, seen).size();
    const bool holds =
        arguments.has("times") ? count == static_cast<std::size_t>(arguments.number("times")) : count > 0;
    return {holds, seen};
}

Verdict processGone(World& world, const Arguments& arguments) {
    std::string seen;
    return {matching(world, arguments.text("NAME"), arguments, seen).empty(), seen};
}

Verdict clientFared(World& world, const Arguments& arguments) {
    const auto client = world.clients.find(arguments.text("NAME"));
    if (client == world.clients.end())
        return {false, "no client of that name"};
    const simulated::Conversation& talk = *client->second;
    std::string seen = talk.connectedAt ? "connected at " + formatTime(*talk.connectedAt) : "not connected";
    if (talk.answeredAt)
        seen += ", " + std::to_string(talk.replies) + " times answered, at last " +
                quoted(world.escapedFromBytes(talk.reply)) + " at " + formatTime(*talk.answeredAt);
    if (talk.dropped)
        seen += ", dropped";
    if (arguments.has("answered"))
        return {talk.replies == 1 && talk.reply == "OK", seen};
    if (arguments.has("unanswered"))
        return {talk.replies == 0, seen};
    return {arguments.has("dropped") ? talk.dropped : talk.connectedAt.has_value(), seen};
}

/// What the play shows, or the trace alone.
std::vector<const Happening*> shown(const World& world, bool traceOnly) {
    std::vector<const Happening*> result;
    for (const Happening& happening : world.happenings) {
        if (!traceOnly || happening.side == Side::trace)
            result.push_back(&happening);
    }
    return result;
}

/// The last of what is shown, a line each.
std::string tellLast(const std::vector<const Happening*>& all, std::size_t from = 0) {
    constexpr std::size_t most = 12;
    std::string told;
    for (std::size_t at = std::max(from, all.size() - std::min(most, all.size())); at < all.size(); ++at)
        told += "\n      " + formatTime(all[at]->at) + "  " + all[at]->text;
    return told.empty() ? "nothing" : told;
}

template <bool traceOnly>
Verdict shownTimes(World& world, const Arguments& arguments) {
    const auto all = shown(world, traceOnly);
    const auto count = std::count_if(
        all.begin(), all.end(), [&](const Happening* each) { return each->text == arguments.text("TEXT"); });
    const bool counted = arguments.has("once") || arguments.has("NUMBER");
    const bool holds = counted ? count == arguments.number("NUMBER", 1) : count > 0;
    return {holds, std::to_string(count) + " times; at last:" + tellLast(all)};
}

/// Whether the lines are shown in this order, whatever else stands between them.
template <bool traceOnly>
Verdict shownInOrder(World& world, const Arguments& arguments) {
    const auto all = shown(world, traceOnly);
    std::size_t next = 0;
    for (const std::string& line : arguments.lines) {
        const std::size_t from = next;
        while (next < all.size() && all[next]->text != line)
            ++next;
        if (next++ == all.size())
            return {false, "no " + quoted(line) + " in:" + tellLast(all, from)};
    }
    return {true, "all of them"};
}

const char* stateOf(const simulated::Service* service) {
    if (service == nullptr)
        return "gone";
    switch (service->state) {
    case SERVICE_START_PENDING:
        return "starting";
    case SERVICE_RUNNING:
        return "running";
    case SERVICE_STOP_PENDING:
        return "stopping";
    default:
        return "stopped";
    }
}

Verdict serviceIs(World& world, const Arguments& arguments) {
    const std::string_view state = stateOf(world.machine.services.find("Kovra"));
    return {arguments.has(state) || (arguments.has("installed") && state != "gone"), std::string{state}};
}

Verdict fileIsThere(World& world, const Arguments& arguments) {
    return isThere(arguments, world.machine.files.fileExists(arguments.wide("PATH")));
}

Verdict folderIsThere(World& world, const Arguments& arguments) {
    return isThere(arguments, world.machine.files.folderExists(arguments.wide("PATH")));
}

Verdict folderLists(World& world, const Arguments& arguments) {
    std::string names;
    for (const std::wstring& name : world.machine.files.list(arguments.wide("PATH")))
        names += (names.empty() ? "" : " ") + toUtf8(name);
    return isEqual(arguments.text("TEXT"), names);
}

std::optional<std::string> contentAt(const World& world, const Arguments& arguments) {
    return world.machine.files.read(arguments.wide("PATH"));
}

Verdict fileHolds(const World& world, const Arguments& arguments, const std::string& wanted) {
    const auto content = contentAt(world, arguments);
    return {content == wanted, content ? quoted(world.escapedFromBytes(*content)) : "none"};
}

Verdict junctionLeads(World& world, const Arguments& arguments) {
    return isEqual(arguments.text("TEXT"), toUtf8(world.machine.files.linkTarget(arguments.wide("PATH"))));
}

Verdict shortcutHas(World& world, const Arguments& arguments) {
    const auto shortcut = world.machine.shell.shortcutAt(arguments.wide("PATH"));
    if (!shortcut)
        return {false, "no shortcut"};
    std::string found;
    if (arguments.has("target"))
        found = toUtf8(shortcut->targetPath);
    else if (arguments.has("arguments"))
        found = toUtf8(shortcut->arguments);
    else if (arguments.has("folder"))
        found = toUtf8(shortcut->workingDirectory);
    else if (arguments.has("icon"))
        found = toUtf8(shortcut->iconLocation);
    else
        found = std::to_string(shortcut->windowStyle);
    return isEqual(arguments.text("TEXT"), found);
}

Verdict keyHolds(World& world, const Arguments& arguments) {
    const auto text = world.machine.registry.text(classesKey(arguments), arguments.wide("NAME"));
    return isEqual(arguments.text("TEXT"), text ? std::optional{toUtf8(*text)} : std::nullopt);
}

template <typename Map>
Verdict isUnchanged(const Map& before, const Map& now) {
    std::string seen;
    const auto tell = [&](const auto& entry, const char* what) {
        seen += "\n      " + toUtf8(entry.first) + what;
    };
    for (const auto& entry : before) {
        const auto found = now.find(entry.first);
        if (found == now.end())
            tell(entry, " is gone");
        else if (!(found->second == entry.second))
            tell(entry, " has changed");
    }
    for (const auto& entry : now) {
        if (before.find(entry.first) == before.end())
            tell(entry, " is new");
    }
    return {seen.empty(), seen};
}

Verdict servicesListed(World& world, const Arguments& arguments) {
    std::string names;
    for (const simulated::Service& service : world.machine.services.list())
        names += (names.empty() ? "" : " ") + service.name;
    return isEqual(arguments.text("TEXT"), names);
}

Verdict servicesUnchanged(World& world, const Arguments&) {
    std::string seen = "now there are:";
    const auto services = world.machine.services.list();
    for (const simulated::Service& service : services)
        seen += " " + service.name;
    return {services == world.beginning->services, seen};
}

/// Nothing was misused, nothing is open that the launcher should have let go, and no application of SYSTEM's
/// was left to a user.
Verdict isClean(World& world, const Arguments&) {
    std::string seen;
    if (const std::string left = world.machine.leftOpen(); !left.empty())
        seen += "\n" + left;
    if (const std::uint64_t longest = world.systemOnDesktop.longest(world.machine);
        longest > SystemOnDesktop::patienceMs)
        seen += "\n      SYSTEM's application on an open desktop for " + formatTime(longest);
    return {seen.empty(), seen};
}

constexpr Expectation expectations[] = {
    {"application runs [in SESSION] [as user|admin|system] [with TEXT]", applicationRuns},
    {"application gone", applicationGone},
    {"process NAME runs [in SESSION] [as user|admin|system] [times NUMBER]", processRuns},
    {"process NAME gone [in SESSION]", processGone},
    {"client NAME answered|unanswered|dropped|connected", clientFared},
    {"traced LINES", shownInOrder<true>},
    {"traced NUMBER times TEXT", shownTimes<true>},
    {"traced [once] TEXT", shownTimes<true>},
    {"shown LINES", shownInOrder<false>},
    {"shown NUMBER times TEXT", shownTimes<false>},
    {"shown [once] TEXT", shownTimes<false>},
    {"service installed|gone|starting|running|stopping|stopped", serviceIs},
    {"services list TEXT", servicesListed},
    {"services unchanged", servicesUnchanged},
    {"file PATH there|gone", fileIsThere},
    {"file PATH holds TEXT",
     [](World& world, const Arguments& arguments) {
         return fileHolds(world, arguments, world.bytesOf(arguments.text("TEXT")));
     }},
    {"file PATH LINES",
     [](World& world, const Arguments& arguments) {
         return fileHolds(world, arguments, world.contentOf(arguments.lines));
     }},
    {"files unchanged",
     [](World& world, const Arguments&) {
         return isUnchanged(world.beginning->files, world.lookAtAll().files);
     }},
    {"folder PATH there|gone", folderIsThere},
    {"folder PATH lists TEXT", folderLists},
    {"junction PATH to TEXT", junctionLeads},
    {"shortcut PATH target|arguments|folder|icon|window TEXT", shortcutHas},
    {"registry unchanged",
     [](World& world, const Arguments&) {
         return isUnchanged(world.beginning->registry, world.lookAtAll().registry);
     }},
    {"registry KEY there|gone",
     [](World& world, const Arguments& arguments) {
         return isThere(arguments, world.machine.registry.keyExists(classesKey(arguments)));
     }},
    {"registry KEY holds TEXT", keyHolds},
    {"registry KEY value NAME holds TEXT", keyHolds},
    {"clean", isClean},
};

} // namespace

std::span<const Expectation> allExpectations() {
    return expectations;
}

} // namespace kovra::simulation
