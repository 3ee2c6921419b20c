#pragma once

namespace kovra {

/// Ahead of everything else in the process: a damaged heap ends it, and a library that is asked for by its
/// bare name isn't looked for where somebody else may have laid one.
void protectProcess();

} // namespace kovra
