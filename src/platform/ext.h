#pragma once

// The product's library ext.dll, as the launcher calls it. The library is loaded from the launcher's own
// folder at the first call.

namespace kovra {

/// Makes the folder `link` show the content of the existing folder `target`; both are ANSI paths. There is no
/// result: the caller looks at the folder. Without the library nothing happens.
void createJunction(const char* target, const char* link);

} // namespace kovra
