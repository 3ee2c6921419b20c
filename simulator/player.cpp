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

/// What the trace tells of the service's ways, by the words that begin the line.
constexpr std::string_view knownBranches[] = {
    "Starting service...",
    "min launch time not reached",
    "Min launch time reached, start kovra",
    "time start kovra",
    "No explorer found in session",
    "Application could not be started",
    "Application started by service",
    "explorer.exe detected in session",
    "explorer.exe detected in a session",
    "explorer.exe detected in kovra session",
    "App has been launched with normal privileges",
    "Kovra and winlogon sessions are different",
    "App has been launched with admin rights",
    "Kill kovra",
    "Requested relaunch canceled",
    "relaunchApp received: kill kovra",
    "Incorrect relaunchApp command",
    "Incorrect useSessionId",
    "Pipe message refused",
    "appExited => OK",
    "appLaunched => OK",
    "Application requested service exit",
    "End of main service loop",
    "Service couldn't be created",
    "Service installation successful",
    "Service installation failed",
};

class Player {
public:
    Player(const Scenario& scenario, Printer& printer, std::FILE* err, Tally* tally)
        : scenario_(scenario),
          printer_(printer),
          err_(err),
          tally_(tally),
          isLookedAt_(std::any_of(scenario.lines.begin(), scenario.lines.end(), [](const Line& line) {
              return line.look != nullptr || !line.whenTraced.empty();
          })) {
        world_.machine.observer = [this](const simulated::Happening& happening) { observe(happening); };
    }

    Outcome playAll() {
        for (const Line& line : scenario_.lines) {
            if (line.moment)
                playUntil(*line.moment);
            if (isBroken())
                break;
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
        if (isBroken())
            tellBroken();
        else
            look(atTheEnd);
        for (const Line* line : waiting_)
            tell(*line, "it never came to that");
        outcome_.neverCame = static_cast<int>(waiting_.size());
        outcome_.playedMs = now();
        return outcome_;
    }

private:
    /// What the scenario has watched did not hold: the play ends.
    [[nodiscard]] bool isBroken() { return world_.watch && !world_.watch->look().empty(); }

    void tellBroken() {
        static const Line watched = [] {
            std::vector<Mistake> mistakes;
            return readScenario("", "machine watched", mistakes).lines.front();
        }();
        outcome_.broken = world_.watch->look();
        ++outcome_.expectations;
        ++outcome_.failures;
        tell(watched, outcome_.broken);
    }

    [[nodiscard]] std::uint64_t now() const { return world_.machine.scheduler.now(); }

    void playUntil(const Moment& moment) {
        if (!world_.beginning)
            world_.beginning = world_.lookAtAll();
        const std::uint64_t time = moment.relative ? now() + moment.ms : moment.ms;
        if (time > now())
            world_.machine.playUntil([this] { return isBroken(); }, time - now());
    }

    void carryOut(const Line& line) {
        printer_.scenarioLine(now(), '*', line.text);
        line.carryOut(world_, line.arguments);
        if (world_.watch)
            world_.watch->disturbed();
        if (tally_ != nullptr)
            ++tally_->events[line.pattern];
    }

    void look(const Line& line) {
        ++outcome_.expectations;
        if (!world_.beginning)
            world_.beginning = world_.lookAtAll();
        Verdict verdict{};
        world_.machine.playUntil(
            [&] {
                verdict = line.look(world_, line.arguments);
                return verdict.holds != line.negated || isBroken();
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
        if (err_ == nullptr)
            return;
        std::fprintf(err_, "%s:%s: at %s: %s\n    seen: %s\n", scenario_.file.c_str(), place.c_str(),
                     formatTime(now()).c_str(), line.text.c_str(), seen.c_str());
    }

    void observe(const simulated::Happening& happening) {
        world_.systemOnDesktop.look(world_.machine);
        if (world_.watch)
            world_.watch->happened(happening);
        if (tally_ != nullptr)
            tally_->happened(happening);
        if (!isLookedAt_ && printer_.isQuiet()) // a random hour has tens of thousands of them
            return;
        const std::string text = world_.fromBytes(happening.text);
        printer_.happened(happening.at, happening.side, text);
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
    Tally* tally_;
    bool isLookedAt_; // what happens: by an expectation, or by a line that waits for it
    Outcome outcome_;
    std::vector<const Line*> waiting_; // for a trace line
    World world_;                      // the last member: it goes first
};

} // namespace

Tally Tally::ofNothing() {
    Tally tally;
    for (const Event& event : allEvents())
        tally.events[event.pattern] = 0;
    for (const std::string_view branch : knownBranches)
        tally.branches[branch] = 0;
    return tally;
}

void Tally::happened(const simulated::Happening& happening) {
    if (happening.side == simulated::Side::machine) {
        if (happening.text.starts_with("kovraLauncher.exe") && happening.text.ends_with(" starts"))
            ++launchers;
        return;
    }
    for (const std::string_view branch : knownBranches) {
        if (happening.text.starts_with(branch))
            ++branches[branch];
    }
}

Outcome play(const Scenario& scenario, Printer& printer, std::FILE* err, Tally* tally) {
    printer.begin(scenario.title.empty() ? scenario.file : scenario.title, scenario.longestMs);
    return Player{scenario, printer, err, tally}.playAll();
}

} // namespace kovra::simulation
