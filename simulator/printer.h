#pragma once

#include "platform/simulated/machine.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace kovra::simulation {

/// Prints a play in two columns: what the machine and the scenario do on the left, what the launcher does and
/// traces on the right.
class Printer {
public:
    Printer(std::FILE* out, bool quiet) : out_(out), quiet_(quiet) {}

    [[nodiscard]] bool isQuiet() const { return quiet_; }

    /// The longest time is that of the last moment.
    void begin(const std::string& title, std::uint64_t longestMs);
    /// Stands above what follows.
    void heading(const std::vector<std::string>& lines);
    void happened(std::uint64_t at, simulated::Side side, const std::string& text);
    /// A line of the scenario itself, with a mark that says what it is.
    void scenarioLine(std::uint64_t at, char mark, const std::string& text);

private:
    void print(std::uint64_t at, bool right, const std::string& text);

    std::FILE* out_;
    bool quiet_;
    int timeWidth_ = 0;
};

} // namespace kovra::simulation
