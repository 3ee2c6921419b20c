// The input is what clients of the control pipe write. Each line is a client: how it behaves, in one byte,
// and its message. A backslash at a line's end makes the line's end a part of the message.

#include "fuzzers/fuzzing.h"
#include "service/appRunState.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <vector>

namespace kovra::fuzzing {
namespace {

using simulated::Conversation;
using simulated::Scheduler;

/// How a client behaves, and what it has to expect.
struct Client {
    simulated::ClientManner manner;
    enum class Fate : std::uint8_t { answered, unheard, served, any } fate;
};

constexpr simulated::ClientIdentity network{true, simulated::ImpersonationLevel::impersonation};
constexpr simulated::ClientIdentity anonymous{false, simulated::ImpersonationLevel::anonymous};

const Client clients[] = {
    {{}, Client::Fate::answered},
    {{.readsAfter = 1500}, Client::Fate::answered},
    {{.readsAfter = Scheduler::never}, Client::Fate::served},
    {{.writesAfter = 3000}, Client::Fate::answered},
    {{.identity = network}, Client::Fate::unheard},
    {{.identity = anonymous}, Client::Fate::answered}, // before Windows Vista it isn't believed
    {{.vanishesAfter = 100}, Client::Fate::any},
    {{.readsOn = true, .closesAfter = 300}, Client::Fate::answered},
};

struct Said {
    std::string message;
    const Client* client;
    bool waits; ///< the next client comes when this one is done
    std::shared_ptr<Conversation> conversation{};

    [[nodiscard]] bool isDone() const { return conversation->answeredAt || conversation->dropped; }
};

std::vector<Said> readInput(std::string_view input) {
    constexpr std::size_t mostClients = 6;
    constexpr std::size_t longest =
        1000; // the pieces of a longer one take longer than the service's patience
    std::vector<Said> all;
    while (!input.empty() && all.size() < mostClients) {
        const auto manner = static_cast<std::uint8_t>(input.front());
        input.remove_prefix(1);
        std::string message;
        while (!input.empty()) {
            const char byte = input.front();
            input.remove_prefix(1);
            const bool ends = byte == '\n';
            if (ends && !message.ends_with('\\'))
                break;
            if (ends)
                message.pop_back();
            message += byte;
        }
        message.resize(std::min(message.size(), longest));
        all.push_back({message, &clients[manner % std::size(clients)], (manner & 0x20) != 0});
    }
    return all;
}

/// What of a message is taken for a command: of a long one the last piece, bytes becoming characters one by
/// one.
std::wstring commandOf(std::string_view message, const simulated::CodePage& codePage) {
    constexpr std::size_t mostBytes = 100;
    while (message.size() > mostBytes)
        message.remove_prefix(mostBytes);
    std::wstring text;
    for (const char byte : message)
        text += codePage.toWide({&byte, 1});
    return text.starts_with(L'-') ? text.substr(1) : text;
}

bool isVerb(std::wstring_view command) {
    static const std::set<std::wstring_view> verbs{
        L"exit",
        L"appExited",
        L"appLaunched",
        L"relaunchApp",
        L"sessionShutdown",
        L"registerContextMenu",
        L"unregisterContextMenu",
        L"uninstallServices",
        L"installServices",
        L"resetShortcuts",
        L"setMailslotIndex",
        L"installFfmpegFrom",
        L"test",
    };
    return verbs.contains(command.substr(0, command.find(L' ')));
}

auto valuesOf(const AppRunState& state) {
    const auto& [expected, time, exit, ending, resume, launched, forced, asked, admin, watched, restart] =
        state;
    return std::tuple{expected, time, exit, ending, resume, launched, forced, asked, admin, watched, restart};
}

class Service {
public:
    explicit Service(std::string_view input) {
        machine_.codePage.set(codePageFor(input));
        isOld_ = setWindowsFor(machine_, input);
        world_.application.reportsAfter.reset();
        machine_.sessions.open(1);
        machine_.sessions.logOn(1);
        machine_.observer = [this](const simulated::Happening& happening) {
            if (happening.side == simulated::Side::trace)
                look(happening.text);
        };
        machine_.services.add("Kovra", "\"C:\\Kovra\\bin\\kovraLauncher.exe\" -service");
        mustHold(machine_.services.start("Kovra"), "the service starts");
        machine_.play(0);
        process_ = machine_.services.find("Kovra")->processId;
    }

    void hear(std::vector<Said> all) {
        constexpr std::uint64_t patienceMs = 20'000;
        bool exits = false;
        for (Said& said : all) {
            exits = exits || meansExit(said.message);
            said.conversation = machine_.pipes.say(said.message, said.client->manner);
            if (said.waits)
                machine_.playUntil([&] { return said.isDone(); }, patienceMs);
        }
        machine_.playUntil(
            [&] {
                return std::all_of(all.begin(), all.end(), [](const Said& each) { return each.isDone(); });
            },
            patienceMs * all.size());
        for (const Said& said : all) {
            const Conversation& got = *said.conversation;
            mustHold(got.replies <= 1 && (got.replies == 0 || got.reply == "OK"), "an answer is one OK");
        }
        if (exits)
            return;
        mustHold(machine_.processes.find(process_) != nullptr, "the service runs on");
        for (const Said& said : all)
            judge(said);
        const auto conversation = machine_.pipes.say("test");
        mustHold(machine_.playUntil([&] { return conversation->replies == 1; }, patienceMs),
                 "the service hears");
    }

    void stop() {
        constexpr std::uint64_t patienceMs = 5000;
        if (machine_.services.find("Kovra") != nullptr)
            machine_.services.control("Kovra", SERVICE_CONTROL_STOP);
        mustHold(machine_.playUntil([&] { return machine_.processes.find(process_) == nullptr; }, patienceMs),
                 "the service stops");
    }

private:
    [[nodiscard]] bool meansExit(std::string_view message) const {
        const std::wstring command = commandOf(message, machine_.codePage);
        return command.substr(0, command.find(L' ')) == L"exit";
    }

    void judge(const Said& said) {
        Client::Fate fate = said.client->fate;
        if (isOld_ && said.client->manner.identity.level == simulated::ImpersonationLevel::anonymous)
            fate = Client::Fate::unheard;
        if (fate == Client::Fate::answered)
            mustHold(said.conversation->replies == 1, "a message is answered");
        if (fate == Client::Fate::unheard)
            mustHold(said.conversation->replies == 0, "a stranger is not answered");
        const std::string text = machine_.codePage.toAnsi(commandOf(said.message, machine_.codePage));
        if (fate == Client::Fate::answered || fate == Client::Fate::served)
            mustHold(heard_[text]-- > 0 && carriedOut_[text]-- > 0, "the trace tells of a message: " + text);
    }

    struct Look {
        simulation::Beginning machine;
        decltype(valuesOf(AppRunState{})) runState;
        std::size_t processes;
        std::size_t mailslotMessages;

        bool operator==(const Look& other) const {
            return areSame(machine, other.machine) && runState == other.runState &&
                   processes == other.processes && mailslotMessages == other.mailslotMessages;
        }
    };

    [[nodiscard]] Look lookAtAll() const {
        return {world_.lookAtAll(), valuesOf(*appRunState), machine_.processes.list().size(),
                machine_.mailslots.delivered.size()};
    }

    /// Called in the service itself, at each line that it writes into the trace.
    void look(const std::string& line) {
        constexpr std::string_view received = "receive command from app: ", done = " => OK";
        if (command_ && line == *command_ + std::string{done}) {
            ++carriedOut_[*command_];
            if (before_)
                mustHold(lookAtAll() == *before_, "a word that is no command changes nothing: " + *command_);
            command_.reset();
            before_.reset();
        } else if (line.starts_with(received)) {
            mustHold(!command_, "a command is done before the next one");
            command_ = line.substr(received.size());
            ++heard_[*command_];
            if (!isVerb(machine_.codePage.toWide(*command_)))
                before_ = lookAtAll();
        }
    }

    bool isOld_ = false;
    DWORD process_ = 0;
    std::map<std::string, int> heard_, carriedOut_; // how often
    std::optional<std::string> command_;            // under way
    std::optional<Look> before_;                    // it was taken
    simulation::World world_;                       // the last member: it goes first
    simulated::Machine& machine_ = world_.machine;
};

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    const std::string_view input = bytesOf(data, size);
    Service service{input};
    service.hear(readInput(input));
    service.stop();
    return 0;
}
