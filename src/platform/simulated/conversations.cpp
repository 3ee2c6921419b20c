#include "platform/simulated/machine.h"

namespace kovra::simulated {

namespace {

/// One program's conversation on the pipe, as a chain of planned events.
struct Talk : std::enable_shared_from_this<Talk> {
    Talk(Machine& theMachine, std::string theMessage, const ClientManner& theManner)
        : machine(theMachine),
          client(theMachine),
          message(std::move(theMessage)),
          manner(theManner) {
        client.identity = manner.identity;
    }

    void after(std::uint64_t milliseconds, void (Talk::*step)()) {
        if (milliseconds != Scheduler::never)
            machine.scheduler.after(milliseconds, [self = shared_from_this(), step] { ((*self).*step)(); });
    }

    void connect() {
        if (!client.connect()) {
            machine.pipes.whenListening([self = shared_from_this()] { self->tryAgain(); });
            return;
        }
        result->connectedAt = machine.scheduler.now();
        client.onDropped = [self = weak_from_this()] { self.lock()->result->dropped = true; };
        if (!manner.readsAfter)
            client.onReply = [self = weak_from_this()](const std::string& reply) {
                self.lock()->answered(reply);
            };
        if (manner.vanishesAfter)
            after(*manner.vanishesAfter, &Talk::vanish);
        after(manner.writesAfter, &Talk::write);
    }

    /// At its next time to look, unless it has given up.
    void tryAgain() {
        constexpr std::uint64_t lookEveryMs = 10;
        const std::uint64_t looksAfter = lookEveryMs - (machine.scheduler.now() - startedAt) % lookEveryMs;
        if (machine.scheduler.now() < startedAt + manner.patienceMs)
            after(looksAfter, &Talk::connect);
    }

    void write() {
        if (!client.write(message))
            return;
        std::string said = "pipe client says ";
        said.append(message, 0, 60).append(message.size() > 60 ? "..." : "");
        machine.tell(Side::machine, said);
        if (manner.readsAfter)
            after(*manner.readsAfter, &Talk::read);
    }

    void read() {
        if (const auto reply = client.read())
            answered(*reply);
        else if (client.connected())
            after(1, &Talk::read);
    }

    void answered(const std::string& reply) {
        result->answeredAt = machine.scheduler.now();
        result->reply = reply;
        ++result->replies;
        if (!manner.readsOn)
            client.onReply = nullptr;
        after(manner.closesAfter, &Talk::vanish);
    }

    void vanish() { client.close(); }

    Machine& machine;
    PipeClient client;
    std::string message;
    ClientManner manner;
    std::uint64_t startedAt = machine.scheduler.now();
    std::shared_ptr<Conversation> result = std::make_shared<Conversation>();
};

} // namespace

std::shared_ptr<Conversation> Pipes::say(const std::string& message, const ClientManner& manner) {
    const auto talk = std::make_shared<Talk>(machine_, message, manner);
    talks_.push_back(talk);
    talk->after(0, &Talk::connect);
    return talk->result;
}

} // namespace kovra::simulated
