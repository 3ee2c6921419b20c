#pragma once

#include "platform/simulated/threadSanitizer.h"
#include "platform/simulated/win32.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

class Machine;

/// The machine that the calling thread belongs to.
[[nodiscard]] Machine& machine();

void setLastError(DWORD error);

/// A function's name as a template argument.
template <std::size_t size>
struct FunctionName {
    constexpr FunctionName(const char (&text)[size]) { std::copy_n(text, size, characters); }

    char characters[size];
};

/// The names of all functions that the platform has, by index.
[[nodiscard]] std::vector<std::string>& functionNames();
[[nodiscard]] std::size_t addFunction(std::string_view name);

/// The index under which each machine counts the calls of the function.
template <FunctionName name>
inline const std::size_t functionIndex = addFunction({name.characters, sizeof name.characters - 1});

/// Counts the call on the calling thread's machine; gives whether it is to fail.
[[nodiscard]] bool countCall(std::size_t function);

void addMisuse(std::string_view function, std::string_view what);

/// One call of one of the platform's functions: counts it and says whether a test wants it to fail. Every
/// simulated function and method starts with one: `const Call<"SetEvent"> call;`.
template <FunctionName name>
class Call {
public:
    Call() : fails_(countCall(functionIndex<name>)) {}

    /// Yes when this call is to fail; the thread's last error is then set to the error that was asked for.
    [[nodiscard]] bool fails() const { return fails_; }

    /// For what Windows takes without a word though no launcher can mean it: notes a misuse where it isn't
    /// so.
    void expect(bool isSo, std::string_view what) const {
        if (!isSo)
            addMisuse({name.characters, sizeof name.characters - 1}, what);
    }

private:
    InsideMachine inside_;
    bool fails_;
};

} // namespace kovra::simulated
