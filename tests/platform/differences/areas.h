#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Random calls on a small world, told with what the launcher could tell of their outcomes: the same on the
// simulated machine and on a Windows, or one of them is wrong.

namespace kovra::differences {

/// Draws the same numbers on every machine.
class Draw {
public:
    Draw(std::uint32_t seed, std::uint32_t step) : state_((std::uint64_t{seed} << 32) + step) {}

    std::uint32_t below(std::uint32_t limit) {
        state_ += 0x9E3779B97F4A7C15;
        std::uint64_t mixed = (state_ ^ (state_ >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return static_cast<std::uint32_t>(mixed >> 33) % limit;
    }

    template <typename Row, std::size_t size>
    const Row& of(const Row (&rows)[size]) {
        return rows[below(size)];
    }

private:
    std::uint64_t state_;
};

struct Area {
    const char* name;
    /// Makes a drawn call and tells it with its outcome; empty where there is nothing yet to call.
    std::string (*step)(Draw&);
    /// Lets go of all that the steps have got; tells what they have left of the world.
    std::string (*end)();
};

extern const Area files, registry, services, pipe;

/// The bytes as they can stand in a line.
std::string shown(const std::string& bytes);

/// A call that is done, or what came of it.
inline std::string told(const std::string& call, const std::string& what) {
    return call + "(" + shown(what) + ")";
}

inline std::string told(const std::string& call, const std::string& what, bool outcome) {
    return told(call, what) + (outcome ? "=yes" : "=no");
}

} // namespace kovra::differences
