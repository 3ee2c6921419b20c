#include "simulator/player.h"

#include "simulator/world.h"

#include <algorithm>

namespace kovra::simulation {

namespace {

/// An expectation that holds, in few words.
std::string shortened(const Line& line) {
    const std::size_t lines = line.arguments.lines.size();
    return line.text.substr(line.text.find(' ') + 1) +
           (lines == 0 ? "" : " (" + std::to_string(lines) + " lines)");
}

class Player {
public:
    Player(const Scenario& scenario, Printer& printer, std::FILE* err)
        : scenario_(scenario),
          printer_(printer),
          err_(err) {
        world_.machine.observer = [this](const simulated::Happening& happening) { observe(happening); };
    }

    Outcome playAll() {
        for (const Line& line : scenario_.lines) {
            if (line.moment)
                playUntil(*line.moment);
            printer_.heading(line.heading);
            if (line.look != nullptr)
                look(line);
            else if (line.whenTraced.empty())
                carryOut(line);
            else
                waiting_.push_back(&line);
        }
        static const Line atTheEnd = [] {
            std::vector<Mistake> mistakes;
            return readScenario("", "expect clean", mistakes).lines.front();
        }();
        world_.machine.play(0);
        look(atTheEnd);
        for (const Line* line : waiting_)
            tell(*line, "it never came to that");
        outcome_.neverCame = static_cast<int>(waiting_.size());
        outcome_.playedMs = now();
        return outcome_;
    }

private:
    [[nodiscard]] std::uint64_t now() const { return world_.machine.scheduler.now(); }

    void playUntil(const Moment& moment) {
        if (!world_.beginning)
            world_.beginning = world_.lookAtAll();
        const std::uint64_t time = moment.relative ? now() + moment.ms : moment.ms;
        if (time > now())
            world_.machine.play(time - now());
    }

    void carryOut(const Line& line) {
        printer_.scenarioLine(now(), '*', line.text);
        line.carryOut(world_, line.arguments);
    }

    void look(const Line& line) {
        ++outcome_.expectations;
        if (!world_.beginning)
            world_.beginning = world_.lookAtAll();
        Verdict verdict{};
        world_.machine.playUntil(
            [&] {
                verdict = line.look(world_, line.arguments);
                return verdict.holds != line.negated;
            },
            line.withinMs);
        if (verdict.holds == line.negated) {
            ++outcome_.failures;
            tell(line, verdict.seen);
        } else if (line.number != 0) {
            printer_.scenarioLine(now(), '=', shortened(line));
        }
    }

    /// Tells of a line that failed.
    void tell(const Line& line, const std::string& seen) {
        printer_.scenarioLine(now(), '!', line.text);
        const std::string place = line.number == 0 ? "at the end" : std::to_string(line.number);
        std::fprintf(err_, "%s:%s: at %s: %s\n    seen: %s\n", scenario_.file.c_str(), place.c_str(),
                     formatTime(now()).c_str(), line.text.c_str(), seen.c_str());
    }

    void observe(const simulated::Happening& happening) {
        const std::string text = world_.fromBytes(happening.text);
        printer_.happened(happening.at, happening.side, text);
        world_.systemOnDesktop.look(world_.machine);
        world_.happenings.push_back({happening.at, happening.side, text});
        if (happening.side != simulated::Side::trace)
            return;
        const auto due = std::find_if(waiting_.begin(), waiting_.end(),
                                      [&](const Line* line) { return line->whenTraced == text; });
        if (due == waiting_.end())
            return;
        const Line& line = **due;
        waiting_.erase(due);
        carryOut(line);
    }

    const Scenario& scenario_;
    Printer& printer_;
    std::FILE* err_;
    Outcome outcome_;
    std::vector<const Line*> waiting_; // for a trace line
    World world_;                      // the last member: it goes first
};

} // namespace

Outcome play(const Scenario& scenario, Printer& printer, std::FILE* err) {
    printer.begin(scenario.title.empty() ? scenario.file : scenario.title, scenario.longestMs);
    return Player{scenario, printer, err}.playAll();
}

} // namespace kovra::simulation
