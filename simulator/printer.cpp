#include "simulator/printer.h"

#include "simulator/text.h"

#include <algorithm>

namespace kovra::simulation {

namespace {

constexpr int leftWidth = 44;

} // namespace

void Printer::begin(const std::string& title, std::uint64_t longestMs) {
    if (quiet_)
        return;
    timeWidth_ = std::max(8, static_cast<int>(formatTime(longestMs).size()));
    std::fprintf(out_, "%s\n\n%*s  %-*s%s\n", title.c_str(), timeWidth_, "time", leftWidth, "machine",
                 "launcher");
}

void Printer::heading(const std::vector<std::string>& lines) {
    if (quiet_ || lines.empty())
        return;
    std::fputc('\n', out_);
    for (const std::string& line : lines)
        std::fprintf(out_, "%*s# %s\n", timeWidth_ + 2, "", line.c_str());
}

void Printer::happened(std::uint64_t at, simulated::Side side, const std::string& text) {
    print(at, side != simulated::Side::machine, side == simulated::Side::launcher ? "> " + text : text);
}

void Printer::scenarioLine(std::uint64_t at, char mark, const std::string& text) {
    print(at, false, std::string{mark, ' '} + text);
}

void Printer::print(std::uint64_t at, bool right, const std::string& text) {
    if (!quiet_)
        std::fprintf(out_, "%*s  %*s%s\n", timeWidth_, formatTime(at).c_str(), right ? leftWidth : 0, "",
                     text.c_str());
}

} // namespace kovra::simulation
