#include "answer_check.h"

#include <cstring>
#include <string_view>
#include <utility>

namespace kvhost
{

namespace
{

bool isErrorAnswer(const QByteArray &answer)
{
    return answer.size() == 4 && (answer[0] == 'E' || answer[0] == 'e') && answer[1] >= '0' &&
           answer[1] <= '9' && answer.endsWith("\r\n");
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isSeparator(char c)
{
    return c == ' ' || c == ',';
}

// What one value looks like: 0 a digit, anything else a separator.
constexpr std::string_view WORD = "00000";
constexpr std::string_view DOUBLE_WORD = "0000000000";
constexpr std::string_view TRIPLE = "0,0000000000,0000000000";

// Every answer passes here before the driver sees it, so each shape has code of its own without a branch.
template <const std::string_view &SHAPE>
bool fits(const char *value)
{
    return [value]<std::size_t... I>(std::index_sequence<I...>)
    {
        return (... & unsigned(SHAPE[I] == '0' ? isDigit(value[I]) : isSeparator(value[I]))) != 0;
    }
    (std::make_index_sequence<SHAPE.size()>());
}

template <const std::string_view &SHAPE>
bool holdsTooLarge(const char *value)
{
    constexpr std::string_view LARGEST = "2147483647";
    for (std::size_t at = SHAPE == TRIPLE ? 2 : 0; at + LARGEST.size() <= SHAPE.size(); at += 11) {
        if (std::string_view(value + at, LARGEST.size()) > LARGEST)
            return true;
    }
    return false;
}

template <const std::string_view &SHAPE>
AnswerVerdict checkValues(const QByteArray &answer)
{
    constexpr int WIDTH = int(SHAPE.size());
    AnswerVerdict verdict;
    const char *data = answer.constData();
    const int size = int(answer.size()) - 2;
    for (int at = 0; at < size; at += WIDTH + 1) {
        const bool last = at + WIDTH == size;
        if (at + WIDTH > size || !fits<SHAPE>(data + at) || (!last && data[at + WIDTH] != ' '))
            return {};
        if (holdsTooLarge<SHAPE>(data + at))
            verdict.tooLarge << at / (WIDTH + 1);
    }
    verdict.kind = AnswerKind::Good;
    return verdict;
}

AnswerVerdict checkRead(const QByteArray &frame, const QByteArray &answer)
{
    const int dot = int(frame.indexOf('.'));
    if (dot < 0 || std::strncmp(frame.constData() + dot, ".D ", 3) != 0)
        return checkValues<WORD>(answer);
    // Z and AT answer plain values; all other devices read in double words are timers and counters.
    const char *device = frame.constData() + 4;
    return device[0] == 'Z' || std::strncmp(device, "AT", 2) == 0 ? checkValues<DOUBLE_WORD>(answer)
                                                                  : checkValues<TRIPLE>(answer);
}

bool isAcknowledged(const QByteArray &frame, const QByteArray &answer)
{
    return answer == (frame.startsWith("CR\r") ? "CC\r\n" : "OK\r\n");
}

} // namespace

AnswerVerdict checkAnswer(const QByteArray &frame, int replyLength, const QByteArray &answer)
{
    if (isErrorAnswer(answer))
        return {AnswerKind::Error, answer.left(2).toUpper(), {}};
    if (!answer.endsWith("\r\n"))
        return {};
    if (frame.startsWith("RDS "))
        return answer.size() == replyLength ? checkRead(frame, answer) : AnswerVerdict{};
    if (replyLength == 4)
        return {isAcknowledged(frame, answer) ? AnswerKind::Good : AnswerKind::Malformed, {}, {}};
    return {AnswerKind::Good, {}, {}};
}

bool looksLikeAnAnswer(const QByteArray &answer)
{
    if (answer == "OK\r\n" || answer == "CC\r\n" || isErrorAnswer(answer))
        return true;
    if (!answer.endsWith("\r\n") || answer.size() < 3)
        return false;
    return checkValues<WORD>(answer).kind == AnswerKind::Good ||
           checkValues<DOUBLE_WORD>(answer).kind == AnswerKind::Good ||
           checkValues<TRIPLE>(answer).kind == AnswerKind::Good;
}

const char *errorCodeMeaning(const QByteArray &code)
{
    static const struct {
        const char *code, *meaning;
    } rows[] = {
        {"E0", "device number: is the address within the range of this PLC?"},
        {"E1", "command: this PLC does not know it, or its link is not open"},
        {"E2", "program: there is none, or it cannot run"},
        {"E4", "write: this device cannot be written now"},
        {"E5", "unit: the PLC reports a fault that must be cleared first"},
        {"E6", "comment: there is none"},
    };
    for (const auto &row : rows) {
        if (code == row.code)
            return row.meaning;
    }
    return "unknown code";
}

} // namespace kvhost
