#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kovra::simulation {

/// What a line has given for the places of its pattern. A value in an optional group is found under the
/// group's first word, any other one under its place's name; a word that the line chose from several is there
/// by itself.
class Arguments {
public:
    [[nodiscard]] bool has(std::string_view name) const { return values_.find(name) != values_.end(); }

    /// Empty when there is none.
    [[nodiscard]] const std::string& text(std::string_view name) const;
    [[nodiscard]] std::wstring wide(std::string_view name) const;
    [[nodiscard]] std::int32_t number(std::string_view name, std::int32_t otherwise = 0) const;
    [[nodiscard]] std::uint64_t ms(std::string_view name) const;

    void set(std::string_view name, std::string_view value) { values_[std::string{name}] = value; }

    /// The lines with a bar that stand below.
    std::vector<std::string> lines;

private:
    std::map<std::string, std::string, std::less<>> values_;
};

/// A line that fits one of several patterns.
struct Understood {
    std::size_t pattern; ///< its index
    Arguments arguments;
};

/// Holds a line against the patterns; the first that fits counts. Otherwise gives what is wrong with the
/// line.
///
/// A pattern is a row of words. A word in lower case stands for itself, `up|down` for one of several, one in
/// capitals for a value of that kind; a group in brackets may be left out, and groups that follow one another
/// may come in any order. `TEXT` is all that is left of the line, `LINES` the lines with a bar below it.
[[nodiscard]] std::variant<Understood, std::string> understand(std::span<const std::string_view> patterns,
                                                               std::string_view line,
                                                               const std::vector<std::string>& lines);

/// A text of the scenario without what closes it: blanks at its end, or a bar that shows them.
[[nodiscard]] std::string closedText(std::string_view text);

} // namespace kovra::simulation
