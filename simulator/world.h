#pragma once

#include "frontend/commandLineMain.h"
#include "platform/simulated/machine.h"
#include "simulator/machineWatch.h"
#include "simulator/text.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulation {

class Arguments;

/// How the desktop application behaves, at each of its starts.
struct Application {
    std::optional<std::uint64_t> reportsAfter = 300; ///< says `appLaunched`; empty: never
    std::optional<std::uint64_t> diesAfter;
    std::string mailslot = "kovraMailslot"; ///< empty: makes none
};

/// The machine as the untimed lines at a scenario's top have left it.
struct Beginning {
    simulated::FileSnapshot files; ///< without the trace's folder
    simulated::Registry::Contents registry;
    std::list<simulated::Service> services;
};

/// Whose rights a process has, as a scenario says it: `user`, `admin` or `system`.
[[nodiscard]] std::string nameOf(simulated::Account account);
/// Without a name a user's.
[[nodiscard]] simulated::Account accountOf(std::string_view name);

/// Follows how long the application runs as LocalSystem on the open desktop of somebody who is logged on,
/// with the service that has started it.
class SystemOnDesktop {
public:
    /// How long somebody who has logged on may have it there.
    static constexpr std::uint64_t patienceMs = 12'000;

    /// Looks at the machine, at each thing that happens on it.
    void look(const simulated::Machine& machine);
    /// The longest time without a break, in milliseconds.
    [[nodiscard]] std::uint64_t longest(const simulated::Machine& machine) const;

private:
    std::optional<std::uint64_t> since_;
    std::uint64_t longest_ = 0;
};

/// A machine and all that a scenario keeps beside it.
struct World {
    World();

    std::wstring installRoot;
    std::wstring dataRoot;
    Application application;
    /// By name; `application` is the application itself.
    std::map<std::string, std::shared_ptr<simulated::Conversation>> clients;
    /// What has happened since the last `from here`, its texts in UTF-8.
    std::vector<simulated::Happening> happenings;
    std::optional<Beginning> beginning;
    SystemOnDesktop systemOnDesktop;
    std::optional<MachineWatch> watch; ///< once the scenario wants it

    simulated::Machine machine{kovra::main}; // the last member: it goes first

    /// Puts the product's files on the machine, as its installation and a user's run leave them.
    void installProduct(const std::wstring& root, const std::wstring& data);

    [[nodiscard]] Beginning lookAtAll() const;

    /// The session that the line names, else the one at the console.
    [[nodiscard]] DWORD sessionIn(const Arguments& arguments) const;
    /// The text as the machine's programs would write it, `\0` and `\xHH` being single bytes.
    [[nodiscard]] std::string bytesOf(std::string_view text) const;
    [[nodiscard]] std::string fromBytes(std::string_view bytes) const;
    /// The same with `\xHH` for control characters: a text that `bytesOf` understands.
    [[nodiscard]] std::string escapedFromBytes(std::string_view bytes) const;
    /// The lines as a file's content.
    [[nodiscard]] std::string contentOf(const std::vector<std::string>& lines) const;
};

/// The registry key below HKEY_CLASSES_ROOT that a scenario's key stands for.
[[nodiscard]] std::wstring classesKey(const Arguments& arguments);

} // namespace kovra::simulation
