#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kovra {

/// What the top level reports when a translation has failed.
inline constexpr const wchar_t* languageFileError = L"Kovra language file cannot be read";

/// The value of a setting of `general.ini`, read anew at each call; empty when the key or the file is
/// missing.
[[nodiscard]] std::wstring readIniValue(std::wstring_view key);

/// The `language` setting.
[[nodiscard]] std::wstring getLanguage();

/// The display text for a key in the language that is set; "#" + key + "#" when there is no language or no
/// entry. Fails (empty optional) when the language file can't be opened or read: the caller's work ends
/// there. With `loadCatalogue` a lookup that has to go to the file keeps the whole of it for later lookups.
[[nodiscard]] std::optional<std::wstring> getTranslation(std::wstring_view key, bool loadCatalogue);

/// Wide text of a text whose characters stand for bytes in the ANSI code page, the bytes being in `codePage`.
[[nodiscard]] std::wstring decodeCodePage(std::wstring_view text, unsigned codePage);

} // namespace kovra
