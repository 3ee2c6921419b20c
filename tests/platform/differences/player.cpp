#include "tests/platform/contract.h"
#include "tests/platform/differences/areas.h"

#include <cstdio>
#include <iostream>
#include <sstream>
#include <vector>

// Reads lines "AREA SEED [STEP...]" and plays the steps of that seed, all where none is named; prints the
// line with what came of each step behind it, behind tabs.

namespace kovra::differences {
namespace {

constexpr const Area* areas[] = {&files, &registry, &services, &pipe};

const Area* area = nullptr;
std::uint32_t seed = 0;
std::vector<std::uint32_t> steps;

void playSteps() {
    for (const std::uint32_t step : steps) {
        Draw draw{seed, step};
        const std::string outcome = area->step(draw);
        if (!outcome.empty())
            std::cout << "\t" << step << ":" << outcome;
    }
    std::cout << "\tleft:" << area->end();
}

/// No when it is none.
bool playLine(const std::string& line) {
    std::istringstream words{line};
    std::string name;
    words >> name >> seed;
    area = nullptr;
    for (const Area* each : areas)
        area = each->name == name ? each : area;
    if (area == nullptr || !words)
        return false;
    steps.clear();
    for (std::uint32_t step = 0; words >> step;)
        steps.push_back(step);
    if (steps.empty())
        for (std::uint32_t step = 5 + Draw{seed, 0}.below(20); step > 0; --step)
            steps.insert(steps.begin(), step);
    std::cout << line;
    contract::play(playSteps);
    std::cout << std::endl;
    return true;
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
