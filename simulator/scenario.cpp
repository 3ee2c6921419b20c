#include "simulator/scenario.h"

#include "simulator/text.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace kovra::simulation {

namespace {

template <typename Row>
std::vector<std::string_view> patternsOf(std::span<const Row> rows) {
    std::vector<std::string_view> patterns;
    for (const Row& row : rows)
        patterns.push_back(row.pattern);
    return patterns;
}

/// Takes the first word off the text.
std::string_view takeWord(std::string_view& text) {
    const std::size_t end = std::min(text.find_first_of(" \t"), text.size());
    const std::string_view word = text.substr(0, end);
    text = trimmed(text.substr(end));
    return word;
}

/// Takes `within TIME` off the text's end.
std::uint64_t takeWithin(std::string_view& text) {
    constexpr std::string_view word = " within ";
    const std::size_t at = text.rfind(word);
    if (at == std::string_view::npos)
        return 0;
    const auto time = parseTime(text.substr(at + word.size()));
    if (time)
        text = trimmed(text.substr(0, at));
    return time.value_or(0);
}

/// Takes `when traced TEXT` off the text's end.
std::string takeWhenTraced(std::string_view& text) {
    constexpr std::string_view words = " when traced ";
    const std::size_t at = text.find(words);
    if (at == std::string_view::npos)
        return {};
    std::string traced = closedText(trimmed(text.substr(at + words.size())));
    text = trimmed(text.substr(0, at));
    return traced;
}

class Reader {
public:
    Reader(const std::string& file, std::vector<Mistake>& mistakes) : mistakes_(mistakes) {
        scenario.file = file;
    }

    void take(std::string_view raw) {
        ++number_;
        const std::string_view text = trimmed(raw);
        if (text.starts_with('|')) {
            takeBar(text.substr(1));
            return;
        }
        finish();
        if (text.starts_with('#')) {
            takeComment(trimmed(text.substr(1)));
        } else if (!text.empty()) {
            text_ = text;
            line_.number = number_;
        }
    }

    /// Understands the line that was taken last, with the bars below it.
    void finish() {
        if (text_.empty())
            return;
        const std::string all = std::exchange(text_, {});
        std::string_view text = all;
        if (takeMoment(text) && takeMeaning(text))
            scenario.lines.push_back(line_);
        line_ = {};
        bars_.clear();
    }

    Scenario scenario;

private:
    void takeBar(std::string_view text) {
        if (text_.empty()) {
            mistakes_.push_back({number_, "no line above that it belongs to"});
            return;
        }
        bars_.push_back(closedText(text.substr(text.starts_with(' ') ? 1 : 0)));
    }

    void takeComment(std::string_view text) {
        if (scenario.title.empty() && scenario.lines.empty())
            scenario.title = text;
        else
            line_.heading.emplace_back(text);
    }

    bool wrong(const std::string& what) {
        mistakes_.push_back({line_.number, what});
        return false;
    }

    bool takeMoment(std::string_view& text) {
        const bool relative = text.starts_with('+');
        if (!relative && std::isdigit(static_cast<unsigned char>(text.front())) == 0)
            return true;
        const std::string_view word = takeWord(text);
        const auto time = parseTime(word.substr(relative ? 1 : 0));
        if (!time)
            return wrong("\"" + std::string{word} + "\" is no time");
        const std::uint64_t end = relative ? scenario.longestMs + *time : *time;
        if (end < scenario.longestMs)
            return wrong("the time " + std::string{word} + " lies before the end of the line above, " +
                         formatTime(scenario.longestMs));
        scenario.longestMs = end;
        line_.moment = Moment{*time, relative};
        return true;
    }

    bool takeMeaning(std::string_view text) {
        line_.text = text;
        if (text.empty())
            return wrong("nothing stands behind the time");
        std::string_view left = text;
        if (takeWord(left) != "expect")
            return takeEvent(text);
        if (left.starts_with("not ")) {
            line_.negated = true;
            takeWord(left);
        }
        line_.withinMs = takeWithin(left);
        scenario.longestMs += line_.withinMs;
        static const auto patterns = patternsOf(allExpectations());
        const auto index = takeArguments(patterns, left);
        if (index)
            line_.look = allExpectations()[*index].look;
        return index.has_value();
    }

    bool takeEvent(std::string_view text) {
        line_.whenTraced = takeWhenTraced(text);
        static const auto patterns = patternsOf(allEvents());
        const auto index = takeArguments(patterns, text);
        if (index) {
            line_.pattern = allEvents()[*index].pattern;
            line_.carryOut = allEvents()[*index].carryOut;
        }
        return index.has_value();
    }

    std::optional<std::size_t> takeArguments(std::span<const std::string_view> patterns,
                                             std::string_view text) {
        auto result = understand(patterns, text, bars_);
        if (const std::string* what = std::get_if<std::string>(&result)) {
            wrong(*what);
            return std::nullopt;
        }
        auto& understood = std::get<Understood>(result);
        line_.arguments = std::move(understood.arguments);
        return understood.pattern;
    }

    std::vector<Mistake>& mistakes_;
    int number_ = 0;
    std::string text_; // of the line that waits for its bars
    std::vector<std::string> bars_;
    Line line_;
};

} // namespace

Scenario readScenario(const std::string& file, std::string_view text, std::vector<Mistake>& mistakes) {
    Reader reader{file, mistakes};
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        reader.take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    reader.finish();
    return std::move(reader.scenario);
}

} // namespace kovra::simulation
