#include "platform/simulated/machine.h"
#include "tests/platform/contract.h"

#include <map>
#include <set>

namespace kovra::contract {
namespace {

/// What the contract can't reach in a program of its own.
const std::map<std::string, const char*> exceptions{
    {"ExitProcess", "ends the tests"},
    {"MessageBoxA", "waits for a person"},
    {"RegisterServiceCtrlHandlerA", "is for a service's process"},
    {"SetServiceStatus", "is for a service's process"},
};

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
