#include "tests/platform/contract.h"
#include "tests/platform/differences/areas.h"

#include <cstdio>
#include <iostream>
#include <sstream>

// Reads lines "AREA SEED [STEP...]" and plays the steps of that seed, all where none is named; prints the
// line with what came of each step behind it, behind tabs.

namespace kovra::differences {
namespace {

constexpr const Area* areas[] = {&files, &registry, &services, &pipe, &mailslots, &text};

const Area* area = nullptr;
std::uint32_t seed = 0;
std::string steps;
std::string told;

void playSteps() {
    std::istringstream chosen{steps};
    const auto play = [](std::uint32_t step) {
        Draw draw{seed, step};
        const std::string outcome = area->step(draw);
        if (!outcome.empty())
            told += "\t" + std::to_string(step) + ":" + outcome;
    };
    std::uint32_t step = 0;
    if (steps.empty())
        for (const std::uint32_t count = 5 + Draw{seed, 0}.below(20); step < count; ++step)
            play(step + 1);
    while (chosen >> step)
        play(step);
    const std::string left = area->end();
    told += left.empty() ? "" : "\tleft:" + left;
}

bool playLine(const std::string& line) {
    std::istringstream words{line};
    std::string name;
    if (!(words >> name >> seed))
        return false;
    std::getline(words, steps);
    told.clear();
    for (const Area* each : areas) {
        if (each->name != name)
            continue;
        area = each;
        contract::play(playSteps);
        std::cout << line << told << std::endl;
        return true;
    }
    return false;
}

} // namespace

std::string shown(const std::string& bytes) {
    std::string result = "\"";
    for (const char byte : bytes) {
        char code[8];
        const bool isPlain = byte > ' ' && byte < 0x7F;
        std::snprintf(code, sizeof code, isPlain ? "%c" : "\\%02x",
                      isPlain ? byte : static_cast<unsigned char>(byte));
        result += code;
    }
    return result + '"';
}

} // namespace kovra::differences

int main() {
    for (std::string line; std::getline(std::cin, line);) {
        if (!kovra::differences::playLine(line)) {
            std::cerr << "not a line to play: " << line << "\n";
            return 2;
        }
    }
    return 0;
}
