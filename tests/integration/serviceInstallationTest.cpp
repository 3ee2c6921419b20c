#include "integration/serviceInstallation.h"

#include "integration/shellMachine.h"

#include <gmock/gmock.h>

namespace kovra {
namespace {

using testing::ElementsAre;

std::vector<std::string> names(const simulated::Machine& machine) {
    std::vector<std::string> result;
    for (const simulated::Service& service : machine.services.list())
        result.push_back(service.name);
    return result;
}

TEST(ServiceInstallation, CreatesTheServiceForALauncherWhoseFolderHasBlanks) {
    ShellMachine machine;
    machine.launcherPath = L"C:\\Program Files\\Kovra Server\\bin\\kovraLauncher.exe";
    machine.files.write(machine.launcherPath, "");
    machine.files.write(L"C:\\Program Files\\Kovra Server\\www\\index.php", "");
    bool installed = false;
    machine.inside([&] { installed = installServices(); }); // resolves the paths itself
    EXPECT_TRUE(installed);
    ASSERT_THAT(names(machine), ElementsAre("Kovra"));
    const simulated::Service& service = *machine.services.find("Kovra");
    EXPECT_EQ(service.binaryPath, "\"C:\\Program Files\\Kovra Server\\bin\\kovraLauncher.exe\" -service");
    EXPECT_EQ(service.displayName, "Kovra");
    EXPECT_EQ(service.state, SERVICE_STOPPED);
    EXPECT_THAT(machine.traceLines, ElementsAre("Service installation successful"));
}

TEST(ServiceInstallation, TriesThreeTimesASecondApart) {
    struct {
        std::uint64_t failures;
        bool installed;
        std::uint64_t minMs;
    } const rows[] = {{0, true, 0}, {1, true, 1000}, {2, true, 2000}, {3, false, 2000}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.failures);
        ShellMachine machine;
        machine.shell.messageBoxClosesAfter = 0;
        machine.fail("CreateServiceA", ERROR_ACCESS_DENIED, row.failures);
        bool installed = !row.installed;
        const std::uint64_t start = machine.scheduler.now();
        machine.inside([&] { installed = installServices(); });
        EXPECT_EQ(installed, row.installed);
        EXPECT_GE(machine.scheduler.now() - start, row.minMs);
        EXPECT_LE(machine.scheduler.now() - start, row.minMs + 20);
        EXPECT_EQ(machine.timesTraced("Service installation failed"), row.failures);
        EXPECT_EQ(machine.timesTraced("Service installation successful"), row.installed ? 1U : 0U);
        EXPECT_EQ(machine.shell.messageBoxes.size(), row.installed ? 0U : 1U);
    }
}

TEST(ServiceInstallation, FailsWhereTheServiceExistsOrTheManagerIsClosed) {
    for (const bool denied : {false, true}) {
        ShellMachine machine;
        machine.addService().displayName = "first";
        machine.services.denied = denied;
        machine.insideLauncher([&] {
            EXPECT_FALSE(installServices());
            uninstallServices();
            EXPECT_EQ(isServiceInstalled(), denied ? -1 : 0);
        });
        EXPECT_THAT(machine.traceLines,
                    ElementsAre("Service installation failed", "Service installation failed",
                                "Service installation failed", "Service Kovra uninstalled"));
        EXPECT_THAT(machine.shell.messageBoxes, ElementsAre("Kovra service could not be installed"));
        EXPECT_EQ(names(machine).size(), denied ? 1U : 0U);
    }
}

TEST(ServiceInstallation, RemovesTheProductsServicesAlone) {
    ShellMachine machine;
    for (const char* name : {"KovraMySQL", "Spooler", "KovraHttpd"})
        machine.services.add(name, "x.exe");
    machine.startService();
    machine.insideLauncher([&] {
        EXPECT_EQ(isServiceInstalled(), 1);
        uninstallServices();
        uninstallServices();
    });
    // The service that runs goes when it ends.
    EXPECT_THAT(names(machine), ElementsAre("Spooler", "Kovra"));
    EXPECT_EQ(machine.services.find("Kovra")->state, SERVICE_RUNNING);
    machine.services.control("Kovra", SERVICE_CONTROL_STOP);
    machine.play(1000);
    EXPECT_THAT(names(machine), ElementsAre("Spooler"));
    EXPECT_EQ(machine.timesTraced("Service Kovra uninstalled"), 2U);
}

} // namespace
} // namespace kovra
