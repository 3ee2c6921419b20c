#pragma once

#include <string>

// What stands in for the programs around the launcher: this very program, copied under their names.

namespace checks {

/// Where the stand-in for the application tells what happened to it, a line an event.
constexpr const char* journalFile = "C:\\kovraChecks\\journal.txt";

/// Plays the stand-in that the program's own file name asks for, until it is killed. No when it asks for
/// none.
bool playStandIn(const std::string& ownFileName);

} // namespace checks
