#pragma once

namespace kovra {

/// The address of a function of a library of the product, which is loaded from the launcher's own folder and
/// from nowhere else. It stays loaded for the life of the process. Null while the library or the function is
/// missing; the next call tries again.
[[nodiscard]] void* findInOwnLibrary(const char* libraryFile, const char* function);

} // namespace kovra
