// SPDX-License-Identifier: MIT
// Reads the text of a program.
#include "scan/program_text.h"

#include "requests/assignment.h"
#include "text/digits.h"
#include "text/words.h"

#include <array>

namespace kvsim
{
namespace
{

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t mostRows = 10'000;
constexpr std::uint32_t longestDelayScans = 1'000'000;

struct ConditionWord {
    std::string_view word;
    ConditionKind kind;
    bool contact;  // of a contact, not of a value
    bool compared; // with what follows
};

struct ActionWord {
    std::string_view word;
    ActionKind kind;
    bool contact; // of a contact, not of a value
    bool counts;  // of a number, not of a single bit
    bool sourced; // from what comes before the target
};

// clang-format off
constexpr std::array<ConditionWord, 11> conditionWords{{
    { "on",      ConditionKind::On,             true,  false },
    { "off",     ConditionKind::Off,            true,  false },
    { "rises",   ConditionKind::Rises,          true,  false },
    { "falls",   ConditionKind::Falls,          true,  false },
    { "changes", ConditionKind::Changes,        false, false },
    { "=",       ConditionKind::Equal,          false, true  },
    { "!=",      ConditionKind::NotEqual,       false, true  },
    { "<",       ConditionKind::Less,           false, true  },
    { "<=",      ConditionKind::LessOrEqual,    false, true  },
    { ">",       ConditionKind::Greater,        false, true  },
    { ">=",      ConditionKind::GreaterOrEqual, false, true  },
}};

constexpr std::array<ActionWord, 6> actionWords{{
    { "set",    ActionKind::Set,    true,  false, false },
    { "reset",  ActionKind::Reset,  true,  false, false },
    { "toggle", ActionKind::Toggle, true,  false, false },
    { "count",  ActionKind::Count,  false, true,  false },
    { "copy",   ActionKind::Copy,   false, false, true  },
    { "add",    ActionKind::Add,    false, true,  true  },
}};
// clang-format on

template <typename Row, std::size_t size>
const Row *rowOf(const std::array<Row, size> &table, std::string_view word)
{
    for (const Row &row : table)
        if (row.word == word)
            return &row;
    return nullptr;
}

bool looksLikeNumber(std::string_view word)
{
    return !word.empty() && (word[0] == '+' || word[0] == '-' || (word[0] >= '0' && word[0] <= '9'));
}

// One row, word by word. Each step returns what is wrong, or nothing.
class RowReader
{
public:
    RowReader(std::string_view line, const Rules &rules);

    std::string read();
    ProgramRow row;

private:
    bool done() const { return m_at >= m_words.size(); }
    std::string_view peek() const { return done() ? std::string_view{} : m_words[m_at]; }
    std::string_view take() { return done() ? std::string_view{} : m_words[m_at++]; }
    bool takeIf(std::string_view word);
    std::string expected(const char *what) const;

    std::string condition();
    std::string action();
    std::string delay();
    std::string place(std::string_view word, bool contact, Place &place) const;
    std::string operand(std::string_view word, Format format, Operand &operand) const;

    std::vector<std::string_view> m_words; // a comma is one of them
    std::size_t m_at = 0;
    const Rules &m_rules;
};

RowReader::RowReader(std::string_view line, const Rules &rules) : m_rules(rules)
{
    bool first = true;
    for (const std::string_view part : splitAt(line, ',')) {
        if (!first)
            m_words.emplace_back(",");
        first = false;
        for (const std::string_view word : wordsOf(part))
            m_words.push_back(word);
    }
}

bool RowReader::takeIf(std::string_view word)
{
    if (peek() != word)
        return false;
    ++m_at;
    return true;
}

std::string RowReader::expected(const char *what) const
{
    return std::string("expected ") + what + (done() ? " at the end" : ", not " + inQuotes(peek()));
}

std::string RowReader::read()
{
    if (!takeIf("when"))
        return expected("'when'");
    std::string wrong;
    do {
        wrong = condition();
    } while (wrong.empty() && takeIf("and"));
    if (wrong.empty() && !takeIf("then"))
        return expected("'and' or 'then'");
    if (!wrong.empty())
        return wrong;
    do {
        wrong = action();
    } while (wrong.empty() && takeIf(","));
    const char *next = "',', 'after' or the end of the row";
    if (wrong.empty() && takeIf("after")) {
        wrong = delay();
        next = "the end of the row";
    }
    return wrong.empty() && !done() ? expected(next) : wrong;
}

std::string RowReader::condition()
{
    Condition &condition = row.conditions.emplace_back();
    if (takeIf("always"))
        return {};
    if (done())
        return expected("a condition");
    const std::string_view device = take();
    const ConditionWord *kind = rowOf(conditionWords, peek());
    if (!kind)
        return expected("on, off, rises, falls, changes, =, !=, <, <=, > or >=");
    take();
    condition.kind = kind->kind;
    std::string wrong = place(device, kind->contact, condition.place);
    if (!wrong.empty() || !kind->compared)
        return wrong;
    return operand(take(), condition.place.format, condition.right);
}

std::string RowReader::action()
{
    const ActionWord *kind = rowOf(actionWords, peek());
    if (!kind)
        return expected("set, reset, toggle, count, copy or add");
    take();
    Action &action = row.actions.emplace_back();
    action.kind = kind->kind;
    const std::string_view source = kind->sourced ? take() : std::string_view{};
    const std::string_view target = take();
    std::string wrong = place(target, kind->contact, action.target);
    if (wrong.empty() && kind->counts && action.target.format == Format::Bit)
        wrong =
            inQuotes(target) + " is a single bit; " + std::string(kind->word) + " needs a number, like R0.U";
    if (!wrong.empty() || !kind->sourced)
        return wrong;
    // A step may be negative whatever it is added to.
    const bool down = action.kind == ActionKind::Add && source.substr(0, 1) == "-";
    return operand(source, down ? Format::L : action.target.format, action.source);
}

std::string RowReader::delay()
{
    const std::string_view word = take();
    const auto scans = numberWithin(word, 1, longestDelayScans);
    if (!scans)
        return inQuotes(word) + " is not a number of scans (1 to " + std::to_string(longestDelayScans) + ")";
    row.delayScans = std::uint32_t(*scans);
    return takeIf("scans") || takeIf("scan") ? std::string() : expected("'scans'");
}

std::string RowReader::place(std::string_view word, bool contact, Place &place) const
{
    std::string problem;
    const auto located = locate(word, 1, m_rules, problem);
    if (!located)
        return problem;
    place = {located->device, located->first, located->format};
    if (!contact)
        return {};
    const bool suffix = word.find('.') != std::string_view::npos;
    if (suffix || (located->device->kind != Kind::Relay && !located->device->contactBySt))
        return inQuotes(word) + " is not a contact: only relays, T, C and CTC are on or off";
    place.format = Format::Bit;
    return {};
}

std::string RowReader::operand(std::string_view word, Format format, Operand &operand) const
{
    if (!looksLikeNumber(word))
        return place(word, false, operand.place);
    const auto value = valueFromText(word, format, {});
    if (!value)
        return inQuotes(word) + " is not a value for it";
    operand.number = std::int64_t(*value);
    if (format == Format::S)
        operand.number = std::int16_t(std::uint16_t(*value));
    if (format == Format::L)
        operand.number = std::int32_t(*value);
    return {};
}

std::string_view withoutRemark(std::string_view line)
{
    return trimmed(line.substr(0, line.find('#')));
}

} // namespace

std::optional<std::vector<ProgramRow>> programFromText(std::string_view text, const Rules &rules,
                                                       std::string &problem)
{
    std::vector<ProgramRow> rows;
    if (text.substr(0, byteOrderMark.size()) == byteOrderMark)
        text.remove_prefix(byteOrderMark.size());
    std::size_t number = 0;
    problem.clear();
    for (const std::string_view whole : splitAt(text, '\n')) {
        ++number;
        const std::string_view line = withoutRemark(whole);
        if (line.empty())
            continue;
        RowReader reader(line, rules);
        problem = rows.size() < mostRows ? reader.read()
                                         : "there are more than " + std::to_string(mostRows) + " rows";
        if (!problem.empty()) {
            problem.insert(0, "line " + std::to_string(number) + ": ");
            return std::nullopt;
        }
        rows.push_back(std::move(reader.row));
    }
    if (!rows.empty())
        return rows;
    problem = "there is no row in it (when CONDITION then ACTION)";
    return std::nullopt;
}

} // namespace kvsim
