// The input is a template of the context menu.

#include "frontend/installationPaths.h"
#include "fuzzers/fuzzing.h"
#include "integration/contextMenu.h"

namespace kovra::fuzzing {
namespace {

constexpr const wchar_t* output = L"C:\\Kovra\\data\\temp\\contextMenu.reg";

/// Captions that look like what the template is made of.
constexpr std::string_view languageFile = "//shellShareWith:Share \"it\" [here] %EXEPATH% %SHAREMAINCAPTION\n"
                                          "//doShare:%SENDCAPTION%[%PUBLISHCAPTION%\n"
                                          "//doSend:\xC3\xA9%SHARECAPTION%\\\n"
                                          "//doPublish:";
const std::vector<std::wstring> captions = {L"Share \"it\" [here] %EXEPATH% %SHAREMAINCAPTION",
                                            L"%SENDCAPTION%[%PUBLISHCAPTION%", L"\xE9%SHARECAPTION%\\", L""};

void fill(const simulated::Machine& machine, std::string_view file, bool addMenu) {
    mustHold(registerWin7ContextMenu(addMenu), "the captions are read");
    const std::wstring text = machine.codePage.toWide(file);
    const std::optional<std::string> filled = machine.files.read(output);
    mustHold(filled.has_value(), "there is an output");
    mustEqual(*filled, machine.codePage.toAnsi(filledMenu(text, addMenu, captions)), "the filled template");
    const bool isPlain =
        file.find('%') == std::string_view::npos && (addMenu || text.find(L'[') == text.npos);
    if (isPlain && machine.codePage.toAnsi(text) == file)
        mustEqual(*filled, file, "a template with nothing to fill in");
}

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    const std::string_view file = bytesOf(data, size);
    kovra::simulation::World world;
    kovra::simulated::Machine& machine = world.machine;
    machine.codePage.set(codePageFor(file));
    machine.files.write(L"C:\\Kovra\\bin\\default\\contextMenu.reg", file);
    machine.files.write(L"C:\\Kovra\\data\\general.ini", "language=en");
    machine.files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php", languageFile);
    machine.inside([&] {
        mustHold(kovra::initPaths(), "the paths are resolved");
        fill(machine, file, true);
        fill(machine, file, false);
    });
    return 0;
}
