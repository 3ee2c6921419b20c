// The input is a language file.

#include "frontend/installationPaths.h"
#include "fuzzers/fuzzing.h"
#include "integration/contextMenu.h"
#include "support/settings.h"

#include <algorithm>
#include <set>

namespace kovra::fuzzing {
namespace {

const std::vector<std::string> captionKeys = {"shellShareWith", "doShare", "doSend", "doPublish"};

/// The wide text of bytes in UTF-8. Behind a byte 0 there are 0s alone, as many as the rest has characters.
std::wstring decoded(const std::string& bytes) {
    static const simulated::CodePage utf8 = [] {
        simulated::CodePage page;
        page.set(CP_UTF8);
        return page;
    }();
    std::wstring text = utf8.toWide(bytes.substr(0, bytes.find('\0')));
    text.resize(utf8.toWide(bytes).size());
    return text;
}

/// What the file says of a key. All in it stands for bytes, one by one.
class Catalogue {
public:
    explicit Catalogue(std::string_view file) : lines_(linesOf(file)) {
        if (lines_.back().empty())
            lines_.pop_back(); // no line: the file ends with the one before
        std::string text;
        for (const std::string& line : lines_)
            text += "\r\n" + line;
        // A CR within a line ends it as well, with the character behind it.
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\r', at), text.size());
            linesInMemory_.push_back(text.substr(at, end - at));
            at = end + 2;
        }
    }

    /// What a lookup in the file finds: where it loads the file, the last entry.
    [[nodiscard]] std::wstring inFile(const std::string& key, bool loads) const {
        return valueOf(key, lines_, loads);
    }

    /// What a lookup behind that finds.
    [[nodiscard]] std::wstring inMemory(const std::string& key) const {
        return valueOf(key, linesInMemory_, false);
    }

    [[nodiscard]] bool isEmpty() const { return lines_.empty(); }

private:
    static std::wstring valueOf(const std::string& key, const std::vector<std::string>& lines, bool last) {
        const std::string start = "//" + key;
        std::wstring value = L"#" + std::wstring{key.begin(), key.end()} + L"#";
        for (const std::string& line : lines) {
            if (line.substr(0, start.size()) != start)
                continue;
            value = decoded(line.size() > start.size() ? line.substr(start.size() + 1) : "");
            if (!last)
                break;
        }
        return value;
    }

    std::vector<std::string> lines_, linesInMemory_;
};

void lookUp(const std::string& key, bool loads, const std::wstring& expected) {
    const std::optional<std::wstring> text = getTranslation(std::wstring{key.begin(), key.end()}, loads);
    mustHold(text.has_value(), "the language file can be read");
    mustEqual(*text, expected, "the display text of " + key);
}

/// Every lookup finds what the file says, ahead of its loading and behind it.
void lookUpAll(const Catalogue& catalogue) {
    std::vector<std::string> keys = captionKeys;
    keys.insert(keys.end(), {"configNewResource", "do", ""});
    for (const std::string& key : keys)
        lookUp(key, false, catalogue.inFile(key, false));
    lookUp("doShare", true, catalogue.inFile("doShare", true));
    for (const std::string& key : keys)
        lookUp(key, true, catalogue.isEmpty() ? catalogue.inFile(key, true) : catalogue.inMemory(key));
}

/// The captions stand in the menu's removal as they are.
void removeMenu(const simulated::Machine& machine, const Catalogue& catalogue) {
    mustHold(registerWin7ContextMenu(false), "the captions are read");
    std::vector<std::wstring> captions;
    for (const std::string& key : captionKeys)
        captions.push_back(catalogue.inMemory(key));
    const std::string expected = machine.codePage.toAnsi(filledMenu(
        L"[k]\n%SHAREMAINCAPTION%|%SHARECAPTION%|%SENDCAPTION%|%PUBLISHCAPTION%[", false, captions));
    mustEqual(machine.files.read(L"C:\\Kovra\\data\\temp\\contextMenu.reg").value_or("no file"), expected,
              "the menu's removal");
}

/// In a code page of two bytes the entries may come out damaged, but each still is some text.
void lookUpSomehow() {
    for (const std::string& key : captionKeys)
        mustHold(getTranslation(std::wstring{key.begin(), key.end()}, true).has_value(), "a text is found");
}

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    const std::string_view file = bytesOf(data, size);
    kovra::simulation::World world;
    kovra::simulated::Machine& machine = world.machine;
    machine.files.write(L"C:\\Kovra\\data\\general.ini", "language=en");
    machine.files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php", file);
    machine.files.write(L"C:\\Kovra\\bin\\default\\contextMenu.reg",
                        "[k]\n%SHAREMAINCAPTION%|%SHARECAPTION%|%SENDCAPTION%|%PUBLISHCAPTION%[");
    machine.inside([&] {
        mustHold(kovra::initPaths(), "the paths are resolved");
        const Catalogue catalogue{file};
        lookUpAll(catalogue);
        removeMenu(machine, catalogue);
    });
    machine.codePage.set(932);
    machine.inside([&] {
        mustHold(kovra::initPaths(), "the paths are resolved");
        lookUpSomehow();
    });
    return 0;
}
