#include "support/settings.h"

#include "platform/perProcess.h"
#include "platform/win32.h"
#include "support/fileSystem.h"
#include "support/pathSet.h"
#include "support/text.h"

#include <algorithm>

namespace kovra {

namespace {

/// Filled at most once in the life of the process: what is set stays.
struct TranslationCache {
    std::wstring language;
    /// Every line of the language file, in its order, each behind CR LF.
    std::wstring catalogueText;
};

PerProcess<TranslationCache> translationCache;

std::optional<TextStream> openForReading(const std::optional<File>& file) {
    return file ? file->OpenAsTextStream(IoMode::ForReading) : std::nullopt;
}

/// Hands the lines from the stream's position on to `take`, up to its end or to the one behind which `take`
/// gives no. No when the stream can't be read on.
template <typename Take>
bool readLines(TextStream& stream, Take take) {
    for (;;) {
        const std::optional<bool> atEnd = stream.AtEndOfStream();
        if (!atEnd)
            return false;
        if (*atEnd)
            return true;
        const std::optional<std::wstring> line = stream.ReadLine();
        if (!line)
            return false;
        if (!take(*line))
            return true;
    }
}

/// The value of a catalogue line that begins with `prefix`: all behind the one separator character.
std::optional<std::wstring> valueOf(std::wstring_view line, std::wstring_view prefix) {
    if (!line.starts_with(prefix))
        return std::nullopt;
    line.remove_prefix(prefix.size());
    return decodeCodePage(line.substr(line.empty() ? 0 : 1), CP_UTF8);
}

/// Looks `prefix` up in the language file. Fails when the file can't be opened or read; `result` is replaced
/// by each entry that is found.
bool scanFile(std::wstring_view prefix, bool loadCatalogue, std::wstring& result) {
    const std::optional<File> file = fileSystem().GetFile(pathSet->wwwFolder + L"\\includes\\lng\\" +
                                                          translationCache->language + L".php");
    std::optional<TextStream> stream = openForReading(file);
    if (!stream)
        return false;
    std::wstring catalogueText;
    // About as many characters as the file has bytes, unless that is more than any language needs
    constexpr std::uint64_t mostAhead = 16'000'000;
    if (loadCatalogue)
        catalogueText.reserve(static_cast<std::size_t>(std::min(file->Size().value_or(0), mostAhead)));
    const bool read = readLines(*stream, [&](const std::wstring& line) {
        if (loadCatalogue)
            catalogueText.append(L"\r\n").append(line);
        std::optional<std::wstring> value = valueOf(line, prefix);
        if (!value)
            return true;
        result = std::move(*value);
        return loadCatalogue;
    });
    if (!read)
        return false;
    stream->Close();
    if (loadCatalogue)
        translationCache->catalogueText = std::move(catalogueText);
    return true;
}

/// Looks `prefix` up in the loaded catalogue: the first entry counts.
void scanCache(std::wstring_view prefix, std::wstring& result) {
    const std::wstring_view text = translationCache->catalogueText;
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t end = std::min(text.find(L'\r', position), text.size());
        if (std::optional<std::wstring> value = valueOf(text.substr(position, end - position), prefix)) {
            result = std::move(*value);
            return;
        }
        position = end + 2;
    }
}

} // namespace

std::wstring readIniValue(std::wstring_view key) {
    std::optional<TextStream> stream =
        openForReading(fileSystem().GetFile(pathSet->dataFolder + L"\\general.ini"));
    if (!stream)
        return {};
    std::wstring value;
    // A failure has found nothing either.
    static_cast<void>(readLines(*stream, [&](std::wstring_view line) {
        const std::size_t equals = line.find(L'=');
        if (equals == std::wstring_view::npos || trim(line.substr(0, equals)) != key)
            return true;
        value = trim(line.substr(equals + 1));
        return false;
    }));
    return value;
}

std::wstring getLanguage() {
    return readIniValue(L"language");
}

std::optional<std::wstring> getTranslation(std::wstring_view key, bool loadCatalogue) {
    std::wstring result = L"#" + std::wstring{key} + L"#";
    if (translationCache->language.empty())
        translationCache->language = getLanguage();
    if (translationCache->language.empty())
        return result;
    const std::wstring prefix = L"//" + std::wstring{key};
    if (!translationCache->catalogueText.empty())
        scanCache(prefix, result);
    else if (!scanFile(prefix, loadCatalogue, result))
        return std::nullopt;
    return result;
}

std::wstring decodeCodePage(std::wstring_view text, unsigned codePage) {
    const std::string bytes = toAnsi(text);
    if (bytes.empty())
        return {};
    const int length =
        MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    // The terminator is converted too and then falls off the end.
    std::wstring decoded(static_cast<std::size_t>(length) + 1, L'\0');
    MultiByteToWideChar(codePage, 0, bytes.c_str(), -1, decoded.data(), length + 1);
    decoded.pop_back();
    return decoded;
}

} // namespace kovra
