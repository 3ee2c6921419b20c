#include "simulator/scenario.h"
#include "simulator/windowsVersions.h"
#include "simulator/world.h"

namespace kovra::simulation {

namespace {

using simulated::Machine;

simulated::Sessions& sessions(World& world) {
    return world.machine.sessions;
}

void endAll(World& world, const char* name) {
    world.machine.processes.endAll(name);
}

void boot(World& world, const Arguments&) {
    Machine& machine = world.machine;
    if (machine.sessions.active >= 0)
        machine.sessions.open(static_cast<DWORD>(machine.sessions.active));
    machine.services.boot();
}

void setTurn(World& world, const Arguments& arguments) {
    const std::uint32_t turn = arguments.has("first") ? 0x8000'0000U : 0;
    world.machine.clock.setTickCount(turn - static_cast<std::uint32_t>(arguments.ms("TIME")));
}

void addSetting(World& world, const Arguments& arguments) {
    const std::wstring path = world.dataRoot + L"\\data\\general.ini";
    const std::string line = arguments.text("NAME") + "=" + arguments.text("TEXT");
    world.machine.files.write(path, world.contentOf({line}) + world.machine.files.read(path).value_or(""));
}

void setUserProfile(World& world, const Arguments& arguments) {
    simulated::SpecialFolders& folders = world.machine.shell.specialFolders;
    const std::wstring profile = arguments.wide("PATH");
    const std::wstring roaming = profile + L"\\AppData\\Roaming";
    folders.paths[CSIDL_APPDATA] = roaming;
    folders.paths[CSIDL_STARTUP] = roaming + L"\\Microsoft\\Windows\\Start Menu\\Programs\\Startup";
    folders.environment[L"USERPROFILE"] = profile;
    folders.environment[L"APPDATA"] = roaming;
}

void logOn(World& world, const Arguments& arguments) {
    const std::string& role = arguments.text("as");
    sessions(world).logOn(world.sessionIn(arguments), {!role.empty(), role == "elevated"});
}

/// The application ends once the service has answered it, or hasn't for a while.
void endWhenAnswered(Machine& machine, DWORD application, const simulated::Conversation& talk,
                     std::uint64_t deadline) {
    if (talk.replies > 0 || machine.scheduler.now() >= deadline)
        machine.processes.end(application);
    else
        machine.scheduler.after(10, [&machine, application, &talk, deadline] {
            endWhenAnswered(machine, application, talk, deadline);
        });
}

void quit(World& world, const Arguments&) {
    constexpr std::uint64_t patienceMs = 10'000;
    Machine& machine = world.machine;
    const auto talk = world.clients["application"] = machine.pipes.say("appExited");
    // The machine keeps every conversation.
    if (const simulated::Process* const application = machine.processes.find("kovra.exe"))
        endWhenAnswered(machine, application->id, *talk, machine.scheduler.now() + patienceMs);
}

void sayAsApplication(World& world, const Arguments& arguments) {
    world.clients["application"] = world.machine.pipes.say(world.bytesOf(arguments.text("TEXT")));
}

std::uint64_t timeOr(const Arguments& arguments, std::string_view group, std::uint64_t otherwise) {
    return arguments.has(group) ? arguments.ms(group) : otherwise;
}

void connectClient(World& world, const Arguments& arguments) {
    simulated::ClientManner manner;
    manner.writesAfter = arguments.has("says") ? arguments.ms("writes") : simulated::Scheduler::never;
    if (arguments.has("deaf") || arguments.has("reads"))
        manner.readsAfter = timeOr(arguments, "reads", simulated::Scheduler::never);
    manner.readsOn = arguments.has("listens");
    manner.closesAfter =
        timeOr(arguments, "closes", arguments.has("stays") ? simulated::Scheduler::never : 0);
    if (arguments.has("vanishes"))
        manner.vanishesAfter = arguments.ms("vanishes");
    manner.patienceMs = timeOr(arguments, "tries", manner.patienceMs);
    manner.identity.overNetwork = arguments.has("from");
    if (arguments.has("anonymous"))
        manner.identity.level = simulated::ImpersonationLevel::anonymous;
    const std::string message = world.bytesOf(arguments.text("says"));
    const std::string& name = arguments.text("NAME");
    world.clients[name] = world.machine.pipes.say(message, manner);
    // On time, from this machine, with a message that has its place, and there to read the answer.
    constexpr std::uint64_t soonMs = 500;
    const bool isGood = !message.empty() && message.size() <= 100 && manner.writesAfter <= soonMs &&
                        manner.readsAfter.value_or(0) <= soonMs && !manner.vanishesAfter &&
                        !manner.identity.overNetwork &&
                        manner.identity.level != simulated::ImpersonationLevel::anonymous;
    if (manner.identity.overNetwork && world.watch)
        world.watch->expectSilence(world.clients[name]);
    if (isGood && world.watch)
        world.watch->expectAnswer(name, world.clients[name], manner.patienceMs);
}

simulated::Process* processIn(World& world, const Arguments& arguments) {
    const std::string& name = arguments.text("NAME");
    return arguments.has("in") ? world.machine.processes.find(name, world.sessionIn(arguments))
                               : world.machine.processes.find(name);
}

void installService(World& world, const Arguments&) {
    world.machine.services.add(
        "Kovra", world.machine.codePage.toAnsi(L"\"" + world.machine.launcherPath + L"\" -service"));
}

void changeFile(World& world, const Arguments& arguments) {
    simulated::FileSystem& files = world.machine.files;
    const std::wstring path = arguments.wide("PATH");
    if (arguments.has("gone"))
        files.remove(path);
    else if (arguments.has("loaded"))
        files.setLoaded(path);
    else if (arguments.has("used"))
        files.setInUse(path);
    else if (arguments.has("read-only"))
        files.setReadOnly(path);
    else
        files.setLoaded(path, false), files.setInUse(path, false), files.setReadOnly(path, false);
}

void changeFolder(World& world, const Arguments& arguments) {
    simulated::FileSystem& files = world.machine.files;
    const std::wstring path = arguments.wide("PATH");
    if (arguments.has("gone"))
        files.remove(path);
    else if (arguments.has("made"))
        files.makeFolder(path);
    else
        files.denyWrites(path, arguments.has("locked"));
}

void changeKey(World& world, const Arguments& arguments) {
    simulated::Registry& registry = world.machine.registry;
    const std::wstring key = classesKey(arguments);
    if (arguments.has("gone"))
        registry.removeKey(key);
    else if (arguments.has("made"))
        registry.makeKey(key);
    else
        registry.denyWrites(key, arguments.has("locked"));
}

template <DWORD code>
void control(World& world, const Arguments&) {
    if (world.watch && code != SERVICE_CONTROL_INTERROGATE)
        world.watch->stopSent();
    world.machine.services.control("Kovra", code);
}

constexpr Event events[] = {
    // The machine and its users.
    {"windows VERSION",
     [](World& world, const Arguments& arguments) {
         world.machine.version = *findWindows(arguments.text("VERSION"));
     }},
    {"call CALL fails NUMBER times",
     [](World& world, const Arguments& arguments) {
         world.machine.fail(arguments.text("CALL"), ERROR_ACCESS_DENIED,
                            static_cast<std::uint64_t>(arguments.number("NUMBER")));
     }},
    {"code page CODEPAGE",
     [](World& world, const Arguments& arguments) {
         world.machine.codePage.set(static_cast<UINT>(arguments.number("CODEPAGE")));
     }},
    {"clock first|second turn in TIME", setTurn},
    {"machine boots", boot},
    {"user logs on [as administrator|elevated] [in SESSION]", logOn},
    {"user logs off [in SESSION]",
     [](World& world, const Arguments& arguments) { sessions(world).logOff(world.sessionIn(arguments)); }},
    {"user profile PATH", setUserProfile},
    {"terminal services on|off",
     [](World& world, const Arguments& arguments) {
         sessions(world).terminalServices = arguments.has("on");
     }},
    {"logon screen up|down [in SESSION]",
     [](World& world, const Arguments& arguments) {
         const DWORD session = world.sessionIn(arguments);
         arguments.has("up") ? sessions(world).showLogonScreen(session)
                             : sessions(world).hideLogonScreen(session);
     }},
    {"shell up|down [in SESSION]",
     [](World& world, const Arguments& arguments) {
         const DWORD session = world.sessionIn(arguments);
         arguments.has("up") ? sessions(world).startShell(session) : sessions(world).endShell(session);
     }},
    {"session SESSION opens|closes",
     [](World& world, const Arguments& arguments) {
         const auto session = static_cast<DWORD>(arguments.number("SESSION"));
         arguments.has("opens") ? sessions(world).open(session) : sessions(world).close(session);
     }},
    {"console none", [](World& world, const Arguments&) { sessions(world).switchTo(-1); }},
    {"console SESSION",
     [](World& world, const Arguments& arguments) { sessions(world).switchTo(arguments.number("SESSION")); }},
    {"process NAME starts [in SESSION] [as admin|system]",
     [](World& world, const Arguments& arguments) {
         world.machine.processes.start(arguments.text("NAME"), world.sessionIn(arguments),
                                       accountOf(arguments.text("as")));
     }},
    {"process NAME ends [in SESSION]",
     [](World& world, const Arguments& arguments) {
         if (const simulated::Process* process = processIn(world, arguments))
             world.machine.processes.end(process->id);
     }},
    {"process NAME protected [in SESSION]",
     [](World& world, const Arguments& arguments) {
         if (simulated::Process* process = processIn(world, arguments))
             process->unkillable = true;
     }},
    {"pipe quota told|hidden",
     [](World& world, const Arguments& arguments) {
         world.machine.pipes.quotaIsTold = arguments.has("told");
     }},
    {"processes linger TIME",
     [](World& world, const Arguments& arguments) {
         world.machine.processes.terminationMs = arguments.ms("TIME");
     }},

    // The product.
    {"product in PATH [data in PATH]",
     [](World& world, const Arguments& arguments) {
         const std::wstring root = arguments.wide("PATH");
         world.installProduct(root, arguments.has("data") ? arguments.wide("data") : root);
     }},
    {"executable PATH",
     [](World& world, const Arguments& arguments) {
         world.machine.launcherPath = arguments.wide("PATH");
         world.machine.files.write(world.machine.launcherPath, "");
     }},
    {"setting NAME = TEXT", addSetting},
    {"library missing|found",
     [](World& world, const Arguments& arguments) {
         sessions(world).withoutLibrary = arguments.has("missing");
     }},
    {"trace on|off",
     [](World& world, const Arguments& arguments) {
         arguments.has("on") ? world.machine.files.makeFolder(L"C:\\P1")
                             : world.machine.files.remove(L"C:\\P1");
     }},
    {"application reports nothing",
     [](World& world, const Arguments&) { world.application.reportsAfter.reset(); }},
    {"application reports after TIME",
     [](World& world, const Arguments& arguments) { world.application.reportsAfter = arguments.ms("TIME"); }},
    {"application dies after TIME",
     [](World& world, const Arguments& arguments) { world.application.diesAfter = arguments.ms("TIME"); }},
    {"application lives", [](World& world, const Arguments&) { world.application.diesAfter.reset(); }},
    {"application mailslot none", [](World& world, const Arguments&) { world.application.mailslot.clear(); }},
    {"application mailslot NAME",
     [](World& world, const Arguments& arguments) {
         world.application.mailslot = arguments.text("NAME");
         if (const simulated::Process* running = world.machine.processes.find("kovra.exe"))
             world.machine.mailslots.make(world.application.mailslot, running->id);
     }},
    {"application crashes", [](World& world, const Arguments&) { endAll(world, "kovra.exe"); }},
    {"application quits", quit},
    {"application says TEXT", sayAsApplication},
    {"client NAME [writes after TIME] [reads after TIME] [closes after TIME] [vanishes after TIME] "
     "[tries for TIME] [from afar] [anonymous] [listens on] [deaf] [stays] [says TEXT]",
     connectClient},
    {"launcher [as user] TEXT",
     [](World& world, const Arguments& arguments) {
         world.machine.start(arguments.wide("TEXT"), world.sessionIn(arguments),
                             arguments.has("as") ? simulated::Account::user
                                                 : simulated::Account::administrator);
     }},
    {"other service NAME",
     [](World& world, const Arguments& arguments) {
         world.machine.services.add(arguments.text("NAME"), "C:\\elsewhere.exe");
     }},
    {"service installed", installService},
    {"service starts", [](World& world, const Arguments&) { world.machine.services.start("Kovra"); }},
    {"service stops", control<SERVICE_CONTROL_STOP>},
    {"service shuts down", control<SERVICE_CONTROL_SHUTDOWN>},
    {"service asked", control<SERVICE_CONTROL_INTERROGATE>},
    {"service manager closed|open",
     [](World& world, const Arguments& arguments) {
         world.machine.services.denied = arguments.has("closed");
     }},

    // Files and the registry.
    {"file PATH gone|loaded|used|read-only|free", changeFile},
    {"file PATH holds TEXT",
     [](World& world, const Arguments& arguments) {
         world.machine.files.write(arguments.wide("PATH"), world.bytesOf(arguments.text("TEXT")));
     }},
    {"file PATH LINES",
     [](World& world, const Arguments& arguments) {
         world.machine.files.write(arguments.wide("PATH"), world.contentOf(arguments.lines));
     }},
    {"file PATH is also TEXT",
     [](World& world, const Arguments& arguments) {
         world.machine.files.addName(arguments.wide("PATH"), arguments.wide("TEXT"));
     }},
    {"folder PATH made|gone|locked|unlocked", changeFolder},
    {"junction PATH to TEXT",
     [](World& world, const Arguments& arguments) {
         world.machine.files.makeFolder(arguments.wide("PATH"));
         world.machine.files.setLink(arguments.wide("PATH"), arguments.wide("TEXT"));
     }},
    {"registry KEY made|gone|locked|unlocked", changeKey},
    {"registry KEY holds TEXT",
     [](World& world, const Arguments& arguments) {
         world.machine.registry.setText(classesKey(arguments), L"", arguments.wide("TEXT"));
     }},
    {"registry KEY value NAME holds TEXT",
     [](World& world, const Arguments& arguments) {
         world.machine.registry.setText(classesKey(arguments), arguments.wide("NAME"),
                                        arguments.wide("TEXT"));
     }},

    // The scenario.
    {"machine watched",
     [](World& world, const Arguments&) {
         if (!world.watch)
             world.watch.emplace(world);
     }},
    {"threads in order NUMBER",
     [](World& world, const Arguments& arguments) {
         world.machine.scheduler.drawOrder(static_cast<std::uint32_t>(arguments.number("NUMBER")));
     }},
    {"from here", [](World& world, const Arguments&) { world.happenings.clear(); }},
};

} // namespace

std::span<const Event> allEvents() {
    return events;
}

} // namespace kovra::simulation
