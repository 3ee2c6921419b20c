// The input is a `general.ini`.

#include "frontend/installationPaths.h"
#include "fuzzers/fuzzing.h"
#include "support/settings.h"

#include <map>

namespace kovra::fuzzing {
namespace {

/// Every setting of the file is read as its first line says, and there is no other one.
void readSettings(std::string_view file, const simulated::CodePage& codePage) {
    std::map<std::wstring, std::wstring> settings;
    for (const std::string& bytes : linesOf(file)) {
        const std::wstring line = codePage.toWide(bytes);
        const std::size_t equals = line.find(L'=');
        if (equals != std::wstring::npos)
            settings.emplace(withoutBlanks(line.substr(0, equals)), withoutBlanks(line.substr(equals + 1)));
    }
    for (const auto& [key, value] : settings)
        mustEqual(readIniValue(key), value, "the value of a setting");
    for (const wchar_t* key : {L"language", L"launchWithAdminRights", L"Language", L" language", L""}) {
        if (settings.count(key) == 0)
            mustEqual(readIniValue(key), L"", "the value of a setting that isn't there");
    }
    mustEqual(getLanguage(), settings[L"language"], "the language");
}

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    const std::string_view file = bytesOf(data, size);
    kovra::simulation::World world;
    kovra::simulated::Machine& machine = world.machine;
    machine.codePage.set(codePageFor(file));
    machine.files.write(L"C:\\Kovra\\data\\general.ini", file);
    machine.inside([&] {
        mustHold(kovra::initPaths(), "the paths are resolved");
        readSettings(file, machine.codePage);
    });
    return 0;
}
