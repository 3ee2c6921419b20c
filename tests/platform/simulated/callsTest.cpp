#include "platform/simulated/machine.h"
#include "tests/platform/contract.h"

#include <set>

namespace kovra::contract {
namespace {

/// What ends the tests, what waits for a person, and what is for a service's process.
const std::set<std::string> exceptions{"ExitProcess", "MessageBoxA", "RegisterServiceCtrlHandlerA",
                                       "SetServiceStatus"};

std::set<std::string> reached;
void (*running)() = nullptr;

TEST(Contract, ReachesEachCallThatTheLauncherMakes) {
    for (void (*const test)() : tests()) {
        running = test;
        play([] {
            running();
            for (const auto& [name, count] : simulated::machine().callsByName())
                reached.insert(name);
        });
    }
    for (const std::string& name : simulated::functionNames())
        EXPECT_NE(reached.contains(name), exceptions.contains(name)) << name;
}

} // namespace
} // namespace kovra::contract
