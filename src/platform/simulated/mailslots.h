#pragma once

#include "platform/simulated/scheduler.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

class Machine;

struct Mailslot {
    std::string name; ///< behind "\\.\mailslot\"
    DWORD owner = 0;  ///< process whose end takes the slot away; 0: stays
    std::vector<std::string> messages;
};

class Mailslots {
public:
    explicit Mailslots(Machine& machine) : machine_(machine) {}

    Mailslot& make(const std::string& name, DWORD owner = 0);
    /// Null when there is no such slot.
    [[nodiscard]] std::shared_ptr<Mailslot> find(std::string_view name) const;

    /// The messages that all slots have taken, those of slots that are gone included.
    std::vector<std::string> delivered;

    static constexpr std::string_view prefix = "\\\\.\\mailslot\\";

    BOOL deliver(const std::shared_ptr<Mailslot>& slot, std::string_view bytes, DWORD& written);
    void processEnded(const Process& process);

private:
    Machine& machine_;
    std::vector<std::shared_ptr<Mailslot>> slots_;
};

} // namespace kovra::simulated
