#include "simulator/simulator.h"

#include "simulator/player.h"
#include "simulator/soak.h"
#include "simulator/text.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <random>

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

constexpr int fine = 0;
constexpr int failed = 1;
constexpr int notPlayed = 2;

int tellUsage(std::FILE* err) {
    std::fprintf(err, "usage: simulator [--quiet] FILE...\n"
                      "       simulator [--quiet] --random [SEED]\n"
                      "       simulator --soak SECONDS SEED STEP\n");
    return notPlayed;
}

/// The numbers that the arguments are; empty when one of them is none.
template <typename Number>
std::optional<std::vector<Number>> numbersOf(const std::vector<std::string>& arguments) {
    std::vector<Number> numbers;
    for (const std::string& argument : arguments) {
        const char* const end = argument.data() + argument.size();
        Number number = 0;
        const auto [rest, error] = std::from_chars(argument.data(), end, number);
        if (error != std::errc{} || rest != end)
            return std::nullopt;
        numbers.push_back(number);
    }
    return numbers;
}

/// The arguments are those behind `--random`.
int playRandom(const std::vector<std::string>& arguments, Printer& printer, std::FILE* out, std::FILE* err) {
    const auto seeds = numbersOf<std::uint32_t>(arguments);
    if (!seeds || seeds->size() > 1)
        return tellUsage(err);
    const std::uint32_t seed = seeds->empty() ? std::random_device{}() : seeds->front();
    const std::string command = "simulator --random " + std::to_string(seed);
    const std::string failure = playRandomHour(seed, printer);
    if (failure.empty())
        std::fprintf(out, "%s: an hour in order\n", command.c_str());
    else
        std::fprintf(err, "%s: %s\n", command.c_str(), failure.c_str());
    return failure.empty() ? fine : failed;
}

/// The arguments are those behind `--soak`.
int playForLong(const std::vector<std::string>& arguments, std::FILE* out, std::FILE* err) {
    const auto numbers = numbersOf<std::uint32_t>(arguments);
    if (!numbers || numbers->size() != 3)
        return tellUsage(err);
    const std::string failure = soak((*numbers)[0], (*numbers)[1], (*numbers)[2], out);
    if (!failure.empty())
        std::fprintf(err, "%s\n", failure.c_str());
    return failure.empty() ? fine : failed;
}

} // namespace

int runSimulator(std::vector<std::string> arguments, std::FILE* out, std::FILE* err) {
    const bool quiet = std::erase(arguments, "--quiet") > 0;
    if (!arguments.empty() && arguments[0] == "--random") {
        Printer printer{out, quiet};
        return playRandom({arguments.begin() + 1, arguments.end()}, printer, out, err);
    }
    if (!arguments.empty() && arguments[0] == "--soak")
        return playForLong({arguments.begin() + 1, arguments.end()}, out, err);
    std::vector<Scenario> scenarios;
    bool readable = true;
    for (const std::string& argument : arguments) {
        if (std::optional<Scenario> scenario = readChecked(argument, err))
            scenarios.push_back(std::move(*scenario));
        else
            readable = false;
    }
    if (!readable)
        return notPlayed;
    if (scenarios.empty())
        return tellUsage(err);
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
