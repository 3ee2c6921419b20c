#pragma once

#include "platform/simulated/machine.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <string_view>

// Each benchmark stands beside its floor: the least that any program would have to do for the same, by the
// same calls of the simulated machine. So what the machine costs is in both, and the ratio is the launcher's
// own.

namespace kovra::bench {

/// Measures by the state's loop.
using Run = std::function<void(benchmark::State&)>;

enum class Measure { wholeLoop, timedParts };

/// Registers NAME and NAME/floor. What is measured is processor time: of the state's whole loop, or of those
/// parts of it that are `timed`.
bool compare(const std::string& name, const Run& run, const Run& floor, Measure measure = Measure::wholeLoop);

/// Counts what all threads do for `work`.
void timed(benchmark::State& state, const std::function<void()>& work);

/// A Windows 10 with the product in C:\Kovra, its data in the root, no trace, and a language that is set. A
/// user is logged on in session 1; the shell and the application are the last in the list of processes.
class InstalledMachine : public simulated::Machine {
public:
    explicit InstalledMachine(std::size_t processCount = 50);

    /// Runs the body in a launcher process whose paths are resolved, with the service's flags and rights.
    void insideService(const std::function<void()>& body);
};

/// A plain walk through a fresh snapshot for a name, whatever its case: the id of the first process of that
/// name, -1 without one.
int findPlainly(const char* name);

} // namespace kovra::bench
