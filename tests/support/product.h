#pragma once

#include "platform/simulated/machine.h"

#include <string>

namespace kovra {

/// A Windows 10 with the product in C:\Kovra, its data in the root, the trace on and a user's run behind it;
/// the session at the console is 1.
class InstalledMachine : public simulated::Machine {
public:
    InstalledMachine();

    /// One setting in general.ini, as its only line.
    void set(const std::string& line) { files.write(L"C:\\Kovra\\data\\general.ini", line + "\r\n"); }

    /// Puts the service into the service manager's database as the installation does.
    simulated::Service& addService();

    /// The service in the state in which its main loop turns.
    void startService();

    /// The application tells the service that it is up, each time it starts, `afterMs` behind that.
    void letApplicationReport(std::uint64_t afterMs = 300);

    [[nodiscard]] bool traced(const std::string& message) const;
    [[nodiscard]] std::size_t timesTraced(const std::string& message) const;
};

} // namespace kovra
