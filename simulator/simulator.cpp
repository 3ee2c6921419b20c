#include "simulator/simulator.h"

#include "simulator/player.h"
#include "simulator/text.h"

#include <algorithm>
#include <optional>

namespace kovra::simulation {

namespace {

std::optional<std::string> readFile(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return std::nullopt;
    std::string content;
    char buffer[4096];
    for (std::size_t size = 0; (size = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
        content.append(buffer, size);
    const bool read = std::ferror(file) == 0;
    std::fclose(file);
    return read ? std::optional{content} : std::nullopt;
}

/// Empty, with the reasons on `err`, when it can't be played.
std::optional<Scenario> readChecked(const std::string& path, std::FILE* err) {
    const std::optional<std::string> content = readFile(path);
    if (!content) {
        std::fprintf(err, "%s: can't be read\n", path.c_str());
        return std::nullopt;
    }
    std::vector<Mistake> mistakes;
    Scenario scenario = readScenario(path, *content, mistakes);
    for (const Mistake& mistake : mistakes)
        std::fprintf(err, "%s:%d: %s\n", path.c_str(), mistake.line, mistake.wrong.c_str());
    return mistakes.empty() ? std::optional{std::move(scenario)} : std::nullopt;
}

} // namespace

int runSimulator(const std::vector<std::string>& arguments, std::FILE* out, std::FILE* err) {
    constexpr int fine = 0;
    constexpr int failed = 1;
    constexpr int notPlayed = 2;
    const bool quiet = std::find(arguments.begin(), arguments.end(), "--quiet") != arguments.end();
    std::vector<Scenario> scenarios;
    bool readable = true;
    for (const std::string& argument : arguments) {
        if (argument == "--quiet")
            continue;
        if (std::optional<Scenario> scenario = readChecked(argument, err))
            scenarios.push_back(std::move(*scenario));
        else
            readable = false;
    }
    if (readable && scenarios.empty())
        std::fprintf(err, "usage: simulator [--quiet] FILE...\n");
    if (!readable || scenarios.empty())
        return notPlayed;
    int code = fine;
    for (const Scenario& scenario : scenarios) {
        Printer printer{out, quiet};
        const Outcome outcome = play(scenario, printer, err);
        const std::string neverCame =
            outcome.neverCame > 0 ? ", events that never came: " + std::to_string(outcome.neverCame) : "";
        std::fprintf(out, "%s%s: %d of %d expectations hold%s, %s played\n", quiet ? "" : "\n",
                     scenario.file.c_str(), outcome.expectations - outcome.failures, outcome.expectations,
                     neverCame.c_str(), formatTime(outcome.playedMs).c_str());
        if (outcome.failures + outcome.neverCame > 0)
            code = failed;
    }
    return code;
}

} // namespace kovra::simulation
