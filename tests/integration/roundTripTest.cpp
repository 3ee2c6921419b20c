#include "integration/shellMachine.h"

#include <gmock/gmock.h>

namespace kovra {
namespace {

/// All of a machine that the product ties itself into.
struct Ties {
    explicit Ties(const simulated::Machine& machine)
        : registry(machine.registry.contents()),
          services(machine.services.list()),
          startup(machine.files.snapshot()) {
        std::erase_if(startup,
                      [](const auto& file) { return file.first.find(L"\\Startup") == std::wstring::npos; });
    }

    simulated::Registry::Contents registry;
    std::vector<simulated::Service> services;
    simulated::FileSnapshot startup;
};

void expectSame(const Ties& after, const Ties& before) {
    EXPECT_EQ(after.registry, before.registry);
    EXPECT_EQ(after.services, before.services);
    EXPECT_EQ(after.startup, before.startup);
}

/// A machine in use: other programs have their services, shortcuts and registry keys on it.
class LivedInMachine : public ShellMachine {
public:
    explicit LivedInMachine(const simulated::WindowsVersion& windows) {
        version = windows;
        services.add("Spooler", "C:\\Windows\\spoolsv.exe");
        for (const int folder : {CSIDL_STARTUP, CSIDL_COMMON_STARTUP})
            files.write(shell.specialFolders.paths.at(folder) + L"\\mail.lnk", "mail");
        registry.setText(L"Directory\\Shell\\Open", L"", L"Open");
        registry.setText(L"*\\Shell\\Edit", L"", L"Edit");
    }

    void run(const std::wstring& commandLine) {
        SCOPED_TRACE(testing::PrintToString(commandLine));
        EXPECT_TRUE(InstalledMachine::run(commandLine));
        play(1000);
    }
};

class RoundTrip : public testing::TestWithParam<simulated::WindowsVersion> {};

TEST_P(RoundTrip, InstallUseAndTakeBackLeaveTheMachineAsItWas) {
    LivedInMachine machine(GetParam());
    const Ties before{machine};
    machine.run(L"-installServices all");
    machine.run(L"-registerContextMenu");
    machine.run(L"launchService");
    EXPECT_EQ(machine.services.find("Kovra")->state, SERVICE_RUNNING);
    EXPECT_TRUE(machine.defaultValue(ShellMachine::menuKey));
    EXPECT_TRUE(machine.defaultValue(L".kovraTheme"));

    // An update of the shell extension while Explorer holds the live file: any next start takes it into use.
    const std::wstring extension = L"C:\\Kovra\\bin\\kovraShellExt";
    machine.files.setLoaded(extension + L".dll");
    machine.files.write(extension + L".tmp.dll", "shell extension 2");
    machine.run(L"createShortcuts");
    EXPECT_TRUE(machine.traced("Register Context Menu"));
    EXPECT_EQ(machine.files.read(extension + L".dll"), "shell extension 2");
    EXPECT_EQ(machine.files.read(extension + L".old.dll"), "shell extension 1");

    machine.run(L"-resetShortcuts current");
    EXPECT_NE(Ties{machine}.registry, before.registry);
    EXPECT_NE(Ties{machine}.services, before.services);
    EXPECT_NE(Ties{machine}.startup, before.startup);
    machine.services.control("Kovra", SERVICE_CONTROL_STOP);
    machine.play(1000);
    machine.run(L"-unregisterContextMenu");
    machine.run(L"-uninstallServices none");
    expectSame(Ties{machine}, before);
    EXPECT_TRUE(machine.shell.messageBoxes.empty());
}

TEST_P(RoundTrip, UninstallTakesEverythingBackAtOnce) {
    LivedInMachine machine(GetParam());
    const Ties before{machine};
    machine.run(L"-installServices");
    machine.run(L"-registerContextMenu");
    machine.run(L"-resetShortcuts all");
    machine.run(L"launchService");
    machine.processes.start("Kovra.exe", 1);
    machine.run(L"-uninstallApplication");
    EXPECT_EQ(machine.processes.find("Kovra.exe"), nullptr);
    // The service is not stopped: its entry goes with it.
    machine.services.control("Kovra", SERVICE_CONTROL_STOP);
    machine.play(1000);
    expectSame(Ties{machine}, before);
    EXPECT_THAT(machine.files.list(L"C:\\Kovra"), testing::ElementsAre(L"bin", L"data", L"www"));
    machine.run(L"-uninstallApplication -removeDataDirectory");
    expectSame(Ties{machine}, before);
    EXPECT_THAT(machine.files.list(L"C:\\Kovra"), testing::ElementsAre(L"bin", L"www"));
}

INSTANTIATE_TEST_SUITE_P(Windows, RoundTrip, testing::Values(windowsXp, windowsVista, windows7),
                         [](const auto& test) {
                             return std::to_string(test.param.major) + "_" + std::to_string(test.param.minor);
                         });

TEST(WriteProtectedMachine, EveryJobComesToItsEndAndChangesNothing) {
    LivedInMachine machine(windows7);
    machine.files.remove(L"C:\\P1");
    machine.services.denied = true;
    machine.files.denyWrites(L"C:\\");
    for (const wchar_t* key : {L"Directory", L"*", L".kovraResource", L".kovraTheme", L"KOVRA.PSERVER.1"})
        machine.registry.denyWrites(key);
    const auto files = machine.files.snapshot();
    const Ties before{machine};
    for (const wchar_t* line :
         {L"installServices all", L"registerContextMenu", L"unregisterContextMenu", L"resetShortcuts all",
          L"uninstallServices all", L"installFfmpegFrom C:\\Kovra\\www", L"launchService",
          L"uninstallApplication removeDataDirectory"})
        machine.run(line);
    EXPECT_EQ(machine.files.snapshot(), files);
    expectSame(Ties{machine}, before);
    EXPECT_THAT(machine.shell.messageBoxes, testing::ElementsAre("Kovra service could not be installed"));
}

} // namespace
} // namespace kovra
