#include "simulator/soak.h"

#include "simulator/player.h"
#include "simulator/randomMachine.h"
#include "simulator/text.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <vector>

namespace kovra::simulation {

namespace {

using Lines = std::vector<std::string>;

Lines linesOf(const std::string& text) {
    Lines lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::string textOf(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines)
        (text += line) += '\n';
    return text;
}

Outcome playText(const std::string& text, Printer& printer, Tally* tally = nullptr) {
    std::vector<Mistake> mistakes;
    const Scenario scenario = readScenario("random", text, mistakes);
    if (!mistakes.empty())
        return {1, 1, 0, 0, "line " + std::to_string(mistakes.front().line) + ": " + mistakes.front().wrong};
    Outcome outcome = play(scenario, printer, nullptr, tally);
    if (outcome.broken.empty() && outcome.failures > 0)
        outcome.broken = "the machine isn't clean at the end";
    return outcome;
}

/// What went wrong, without the numbers that tell one case from another.
std::string kindOf(const std::string& broken) {
    std::string kind;
    for (const char character : broken) {
        if (std::isdigit(static_cast<unsigned char>(character)) == 0)
            kind += character;
    }
    return kind;
}

/// Without the events that come behind the failure.
Lines linesUpTo(std::uint64_t playedMs, const std::string& scenario) {
    Lines lines = linesOf(scenario);
    std::erase_if(lines, [&](const std::string& line) {
        const auto time = parseTime(line.substr(0, line.find(' ')));
        return line.empty() || line.starts_with('#') || (time && *time > playedMs);
    });
    lines.push_back("+60 from here");
    return lines;
}

std::string report(std::uint32_t seed, const std::string& text, const Outcome& outcome) {
    const std::string name = "random-" + std::to_string(seed) + ".scenario";
    const std::string what = "at " + formatTime(outcome.playedMs) + ": " + outcome.broken;
    const std::string fewest = cutDown(text);
    const std::string content =
        "# Random machine " + std::to_string(seed) + ": " + outcome.broken + "\n\n" + fewest;
    std::FILE* const file = std::fopen(name.c_str(), "wb");
    const bool written =
        file != nullptr && std::fwrite(content.data(), 1, content.size(), file) == content.size();
    if (file != nullptr)
        std::fclose(file);
    return what + "\n    " + std::to_string(linesOf(fewest).size()) + " lines of " +
           std::to_string(linesOf(text).size()) + " still show it" +
           (written ? ": " + name : ", and could not be written");
}

} // namespace

std::string cutDown(const std::string& scenario) {
    Printer quiet{stdout, true};
    const Outcome outcome = playText(scenario, quiet);
    const std::string kind = kindOf(outcome.broken);
    const auto stillFails = [&](const Lines& fewer) {
        return kindOf(playText(textOf(fewer), quiet).broken) == kind;
    };
    if (kind.empty())
        return scenario;
    Lines lines = linesUpTo(outcome.playedMs, scenario);
    if (!stillFails(lines))
        lines = linesOf(scenario);
    for (std::size_t piece = lines.size() / 2; piece > 0;) {
        bool cut = false;
        for (std::size_t end = lines.size(); end > 0; end -= std::min(end, piece)) {
            const auto start = lines.begin() + static_cast<std::ptrdiff_t>(end - std::min(end, piece));
            Lines fewer{lines.begin(), start};
            fewer.insert(fewer.end(), lines.begin() + static_cast<std::ptrdiff_t>(end), lines.end());
            if (stillFails(fewer)) {
                lines = std::move(fewer);
                cut = true;
            }
        }
        if (piece > 1 || !cut)
            piece /= 2;
    }
    return textOf(lines);
}

std::string playRandomHour(std::uint32_t seed, Printer& printer) {
    const std::string text = drawHour(seed);
    const Outcome outcome = playText(text, printer);
    return outcome.broken.empty() ? std::string{} : report(seed, text, outcome);
}

std::string soak(std::uint64_t seconds, std::uint32_t seed, std::uint32_t step, std::FILE* out) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::seconds{seconds};
    Tally tally = Tally::ofNothing();
    std::uint64_t hours = 0;
    std::string failure;
    for (; failure.empty() && Clock::now() < end; seed += step) {
        Printer quiet{out, true};
        const std::string text = drawHour(seed);
        const Outcome outcome = playText(text, quiet, &tally);
        ++hours;
        if (!outcome.broken.empty())
            failure = "simulator --random " + std::to_string(seed) + ": " + report(seed, text, outcome);
    }
    const auto tell = [out](const char* kind, std::string_view name, std::uint64_t count) {
        std::fprintf(out, "%s\t%.*s\t%llu\n", kind, static_cast<int>(name.size()), name.data(),
                     static_cast<unsigned long long>(count));
    };
    tell("machine", "hours", hours);
    tell("machine", "launcher processes", tally.launchers);
    for (const auto& [name, count] : tally.events)
        tell("event", name, count);
    for (const auto& [name, count] : tally.branches)
        tell("branch", name, count);
    return failure;
}

} // namespace kovra::simulation
