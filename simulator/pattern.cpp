#include "simulator/pattern.h"

#include "platform/simulated/call.h"
#include "simulator/text.h"
#include "simulator/windowsVersions.h"

#include <algorithm>
#include <cctype>

namespace kovra::simulation {

namespace {

/// The words of a line, one after the other. Double quotes make one word of several.
class Words {
public:
    explicit Words(std::string_view line) : left_(trimmed(line)) {}

    [[nodiscard]] bool atEnd() const { return left_.empty(); }

    /// All that is left.
    [[nodiscard]] std::string_view rest() const { return left_; }

    [[nodiscard]] std::string_view peek() const {
        Words copy = *this;
        return copy.next();
    }

    std::string_view next() {
        const bool quoted = left_.starts_with('"');
        const std::size_t start = quoted ? 1 : 0;
        const std::size_t end = std::min(left_.find_first_of(quoted ? "\"" : " \t", start), left_.size());
        const std::string_view word = left_.substr(start, end - start);
        left_ = trimmed(left_.substr(std::min(end + start, left_.size())));
        return word;
    }

private:
    std::string_view left_;
};

std::vector<std::string_view> split(std::string_view text) {
    std::vector<std::string_view> tokens;
    for (Words words{text}; !words.atEnd();)
        tokens.push_back(words.next());
    return tokens;
}

bool isOneOf(std::string_view alternatives, std::string_view word) {
    for (std::size_t start = 0; start <= alternatives.size();) {
        const std::size_t end = std::min(alternatives.find('|', start), alternatives.size());
        if (alternatives.substr(start, end - start) == word)
            return true;
        start = end + 1;
    }
    return false;
}

bool isPlace(std::string_view token) {
    return std::isupper(static_cast<unsigned char>(token.front())) != 0;
}

bool isPath(std::string_view word) {
    return word.starts_with("\\\\") || (word.size() > 2 && word.substr(1, 2) == ":\\");
}

struct Kind {
    std::string_view place;
    const char* called;
    bool (*fits)(std::string_view word);
};

bool isCall(std::string_view word) {
    const std::vector<std::string>& names = simulated::functionNames();
    return std::find(names.begin(), names.end(), word) != names.end();
}

constexpr Kind kinds[] = {
    {"CALL", "call of the platform", isCall},
    {"CODEPAGE", "code page",
     [](std::string_view word) { return isCodePage(parseNumber(word).value_or(0)); }},
    {"KEY", "registry key below HKCR", [](std::string_view word) { return word.starts_with("HKCR\\"); }},
    {"NAME", "name", [](std::string_view) { return true; }},
    {"NUMBER", "number", [](std::string_view word) { return parseNumber(word).value_or(-1) >= 0; }},
    {"PATH", "full path", isPath},
    {"SESSION", "session", [](std::string_view word) { return parseNumber(word).value_or(-1) >= 0; }},
    {"TIME", "time", [](std::string_view word) { return parseTime(word).has_value(); }},
    {"VERSION", "Windows version", [](std::string_view word) { return findWindows(word) != nullptr; }},
};

/// One line held against one pattern.
class Attempt {
public:
    Attempt(std::string_view pattern, std::string_view line, const std::vector<std::string>& lines)
        : words_(line),
          tokens_(split(pattern)) {
        found.lines = lines;
        fits = matchAll() && checkEnd(pattern);
    }

    bool fits = false;
    Arguments found;
    std::size_t reached = 0; ///< words that fitted
    std::string wrong;       ///< what the next one isn't; empty when it is just another one

private:
    bool matchAll() {
        for (std::size_t at = 0; at < tokens_.size();) {
            if (!tokens_[at].starts_with('[')) {
                if (!matchOne(tokens_[at++], {}))
                    return false;
                continue;
            }
            std::vector<std::vector<std::string_view>> groups;
            for (; at < tokens_.size() && tokens_[at].starts_with('['); ++at) {
                groups.emplace_back();
                while (!tokens_[at].ends_with(']'))
                    groups.back().push_back(tokens_[at++]);
                groups.back().push_back(tokens_[at].substr(0, tokens_[at].size() - 1));
                groups.back().front().remove_prefix(groups.back().front().starts_with('[') ? 1 : 0);
            }
            if (!matchGroups(std::move(groups)))
                return false;
        }
        return true;
    }

    bool matchGroups(std::vector<std::vector<std::string_view>> groups) {
        for (;;) {
            const std::string_view word = words_.peek();
            const auto group = std::find_if(groups.begin(), groups.end(),
                                            [&](const auto& each) { return each.front() == word; });
            if (words_.atEnd() || group == groups.end())
                return true;
            const std::string_view name = group->front();
            found.set(name, {});
            for (const std::string_view token : *group) {
                if (!matchOne(token, name))
                    return false;
            }
            groups.erase(group);
        }
    }

    bool matchOne(std::string_view token, std::string_view group) {
        if (token == "LINES")
            return !found.lines.empty();
        if (token == "TEXT") {
            found.set(group.empty() ? token : group, closedText(words_.rest()));
            words_ = Words{{}};
            return true;
        }
        if (words_.atEnd())
            return false;
        const std::string_view word = words_.peek();
        if (isPlace(token)) {
            const Kind& kind = *std::find_if(std::begin(kinds), std::end(kinds),
                                             [&](const Kind& each) { return each.place == token; });
            if (!kind.fits(word)) {
                wrong = "\"" + std::string{word} + "\" is no " + kind.called;
                return false;
            }
            found.set(group.empty() ? token : group, word);
        } else if (!isOneOf(token, word)) {
            return false;
        } else if (token != word) {
            found.set(group.empty() ? word : group, word);
        }
        words_.next();
        ++reached;
        return true;
    }

    bool checkEnd(std::string_view pattern) {
        if (!words_.atEnd())
            return false;
        if (!found.lines.empty() && !pattern.ends_with("LINES")) {
            wrong = "the lines with a bar below belong to nothing";
            return false;
        }
        return true;
    }

    Words words_;
    std::vector<std::string_view> tokens_;
};

/// Tells of the patterns that the line came nearest to.
std::string tellWrong(std::string_view line, std::size_t reached, const std::string& wrong,
                      const std::vector<std::string_view>& nearest) {
    const std::vector<std::string_view> words = split(line);
    std::string told = wrong;
    if (told.empty() && reached < words.size())
        told = "\"" + std::string{words[reached]} + "\" is not understood here";
    else if (told.empty())
        told = "the line breaks off";
    if (reached == 0)
        return told;
    for (const std::string_view pattern : nearest)
        told += (pattern == nearest.front() ? "; known: " : ", ") + std::string{pattern};
    return told;
}

} // namespace

const std::string& Arguments::text(std::string_view name) const {
    static const std::string none;
    const auto value = values_.find(name);
    return value == values_.end() ? none : value->second;
}

std::wstring Arguments::wide(std::string_view name) const {
    return toWide(text(name));
}

std::int32_t Arguments::number(std::string_view name, std::int32_t otherwise) const {
    return parseNumber(text(name)).value_or(otherwise);
}

std::uint64_t Arguments::ms(std::string_view name) const {
    return parseTime(text(name)).value_or(0);
}

std::variant<Understood, std::string> understand(std::span<const std::string_view> patterns,
                                                 std::string_view line,
                                                 const std::vector<std::string>& lines) {
    std::size_t reached = 0;
    std::string wrong;
    std::vector<std::string_view> nearest;
    const std::string_view first = Words{line}.peek();
    for (std::size_t index = 0; index < patterns.size(); ++index) {
        // Every pattern begins with a word that stands for itself.
        if (Words{patterns[index]}.peek() != first)
            continue;
        Attempt attempt{patterns[index], line, lines};
        if (attempt.fits)
            return Understood{index, std::move(attempt.found)};
        if (attempt.reached > reached) {
            reached = attempt.reached;
            nearest.clear();
            wrong.clear();
        }
        if (attempt.reached == reached) {
            nearest.push_back(patterns[index]);
            if (wrong.empty())
                wrong = attempt.wrong;
        }
    }
    return tellWrong(line, reached, wrong, nearest);
}

std::string closedText(std::string_view text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r'))
        text.remove_suffix(1);
    if (text.ends_with('|'))
        text.remove_suffix(1);
    return std::string{text};
}

} // namespace kovra::simulation
