#pragma once

#include <cstddef>

namespace kovra::simulated {

class Process;

/// Registers a module-level value that each simulated process makes at its start and drops at its end.
/// Gives the value's slot. Called while the program's statics are being set up.
std::size_t addProcessValue(void* (*make)(), void (*drop)(void*));

/// The value in the slot for the simulated process that the calling thread belongs to.
void* processValue(std::size_t slot);
/// The value in the slot of a process that runs a launcher.
void* processValue(std::size_t slot, const Process& process);

} // namespace kovra::simulated
