#include "platform/junctions.h"

#include "platform/simulated/machine.h"

namespace kovra {

using namespace simulated;

std::string junctionRecord(const std::wstring& path) {
    const Call<"junctionRecord"> call;
    return call.fails() ? std::string{} : machine().codePage.toAnsi(machine().files.linkTarget(path));
}

bool setJunctionRecord(const std::wstring& path, const std::string& record) {
    const Call<"setJunctionRecord"> call;
    return !call.fails() && machine().files.setLink(path, machine().codePage.toWide(record));
}

bool removeJunction(const std::wstring& path) {
    const Call<"removeJunction"> call;
    FileSystem& files = machine().files;
    return !call.fails() && !files.linkTarget(path).empty() && files.removeFolder(path, true);
}

bool removeJunctionsBelow(const std::wstring& folder) {
    const Call<"removeJunctionsBelow"> call;
    return !call.fails() && machine().files.removeJunctionsBelow(folder);
}

} // namespace kovra
