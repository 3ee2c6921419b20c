#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace kovra::simulation {

/// Plays a random hour, where `--random [SEED]` stands alone. Else reads the scenario files of the arguments
/// and, when none has a mistake, plays them one after the other.
/// `--quiet` shows failing expectations and a line for each file only. Gives the exit code: 0 when every
/// expectation holds, 1 when one fails or the hour does, 2 when a line or the command line is wrong or a file
/// can't be read.
int runSimulator(std::vector<std::string> arguments, std::FILE* out, std::FILE* err);

} // namespace kovra::simulation
