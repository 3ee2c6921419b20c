#include "platform/simulated/mailslots.h"

#include "platform/simulated/machine.h"

#include <algorithm>

namespace kovra::simulated {

Mailslot& Mailslots::make(const std::string& name, DWORD owner) {
    std::erase_if(slots_, [&](const auto& slot) { return sameAnsiName(slot->name, name); });
    return *slots_.emplace_back(std::make_shared<Mailslot>(Mailslot{name, owner, {}}));
}

std::shared_ptr<Mailslot> Mailslots::find(std::string_view name) const {
    const auto slot = std::find_if(slots_.begin(), slots_.end(),
                                   [&](const auto& each) { return sameAnsiName(each->name, name); });
    return slot == slots_.end() ? nullptr : *slot;
}

BOOL Mailslots::deliver(const std::shared_ptr<Mailslot>& slot, std::string_view bytes, DWORD& written) {
    if (slot == nullptr)
        return FALSE;
    slot->messages.emplace_back(bytes);
    delivered.emplace_back(bytes);
    written = static_cast<DWORD>(bytes.size());
    const std::string text{bytes.substr(0, bytes.find('\0'))};
    machine_.tell(Side::launcher, "sends \"" + text + "\" to " + slot->name);
    return TRUE;
}

void Mailslots::processEnded(const Process& process) {
    std::erase_if(slots_, [&](const auto& slot) { return slot->owner == process.id; });
}

} // namespace kovra::simulated
