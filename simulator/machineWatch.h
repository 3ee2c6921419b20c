#pragma once

#include "platform/simulated/machine.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kovra {
struct AppRunState;
}

namespace kovra::simulation {

struct World;

/// Looks for what must hold at any moment, whatever users, programs and Windows itself do. Every bound is
/// told of in docs/decisions.md, with the cases in which the launcher's own rules allow less.
class MachineWatch {
public:
    explicit MachineWatch(World& world) : world_(world) {}

    /// Called with each thing that happens on the machine.
    void happened(const simulated::Happening& happening);
    /// Called with each event of the scenario.
    void disturbed();
    /// Called when the service manager is to stop the service, ahead of it.
    void stopSent();
    /// A client that keeps to all rules has come: it must get its one answer.
    void expectAnswer(const std::string& client, std::shared_ptr<simulated::Conversation> talk,
                      std::uint64_t patienceMs);

    /// A client on another machine has come: it gets no answer.
    void expectSilence(std::shared_ptr<simulated::Conversation> talk);

    /// Looks at the machine while every launcher thread waits. Gives the first thing that did not hold; empty
    /// as long as there is none.
    const std::string& look();

private:
    struct Asked {
        std::string client;
        std::shared_ptr<simulated::Conversation> talk;
        std::uint64_t since;
        std::uint64_t until;    ///< it gives up connecting
        std::uint64_t waitedMs; ///< while the pipe was its own or nobody's
        bool isHeard;           ///< the service has taken its command
    };

    /// By when a process must have ended.
    struct Deadline {
        DWORD process;
        std::uint64_t by;
    };

    /// What the process list and the service manager's database say.
    struct Facts {
        const simulated::Process* service = nullptr;     ///< the process of the service that reports to run
        const AppRunState* state = nullptr;              ///< its
        const simulated::Process* application = nullptr; ///< the first of them
        int applications = 0;
        bool winlogon = false;
        bool logonScreen = false;
        bool explorer = false;
        bool jobUnderWay = false; ///< a launcher that isn't the service runs
    };

    [[nodiscard]] std::uint64_t now() const;
    /// The session at the console as the launcher can tell it.
    [[nodiscard]] std::int32_t console() const;
    void breakRule(const std::string& what);
    void findFacts();
    [[nodiscard]] bool hasCallFailedSince(std::uint64_t time) const;
    [[nodiscard]] bool areAdminRightsDue() const;
    void applicationChanged(std::string_view text);
    void follow(std::string_view command);
    void followWish(std::string_view verb, std::string_view command);
    void forgetWords();
    void beginPause();
    void judgeKill(std::string_view program);
    void judgeAskedStart(std::string_view start);
    void judgeDeadline(std::optional<Deadline>& deadline, const char* broken);
    void judgeStart(const simulated::Process& started);
    void judgeLoop();
    void expectEnd(std::uint64_t within);
    void judgeKills();
    void judgeClients();
    void judgePipe();
    void judgeLeftOpen();
    void judgePresence();
    void judgePlace();
    void judgeOwnProgram(const AppRunState& state, const simulated::Process& application);
    [[nodiscard]] bool isWanted() const;

    World& world_;
    std::string broken_;
    Facts facts_;
    bool changed_ = true; // since the facts were found
    std::uint64_t quietSince_ = 0;
    std::uint64_t lastLookAt_ = 0;
    std::uint64_t waits_ = 0; // of the service
    std::uint64_t passSince_ = 0;
    std::uint64_t installations_ = 0; // tries
    std::uint64_t busyUntil_ = 0;     // with one

    // What clients have said. A machine on which calls fail may not trace all of it.

    bool traces_ = false;              // the instance that begins
    DWORD serviceId_ = 0;              // its process
    int messages_ = 0;                 // to the service that it hasn't told of
    std::optional<bool> isExpected_;   // by the last word about it, where that is known
    std::optional<bool> resumesNext_;  // no word of the application since its last start, where that is known
    std::optional<bool> resumes_;      // the same for the last start
    bool startedWithoutShell_ = false; // the last one
    std::optional<std::int32_t> consoleKnown_; // the session that the service knows to be at the console
    std::optional<std::int32_t> wish_;         // a session for the next start
    std::optional<Deadline> leaving_;
    bool mayStartAgain_ = true; // something was ended in the pause ahead of the next start
    std::uint64_t pauseSince_ = 0;
    std::uint64_t startAskedAt_ = 0; // 0: not yet
    std::uint64_t killedAt_ = 0;
    int kills_ = 0;                  // since something called for one
    std::optional<Deadline> ending_; // of the service
    std::uint64_t stopSentAt_ = 0;
    std::optional<std::uint64_t> missingSince_;
    std::optional<std::uint64_t> heldSince_;
    const void* holder_ = nullptr; // the client that has the pipe
    std::vector<Asked> asked_;
    std::shared_ptr<simulated::Conversation> lastAnswered_;
    std::vector<std::shared_ptr<simulated::Conversation>> strangers_;
};

} // namespace kovra::simulation
