#include "answer_check.h"

#include <cstring>

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
const char WORD[] = "00000";
const char DOUBLE_WORD[] = "0000000000";
const char TRIPLE[] = "0,0000000000,0000000000";

const char *valueTemplate(const QByteArray &frame)
{
    const QByteArray device = frame.mid(4, frame.indexOf('.') - 4);
    if (frame.mid(frame.indexOf('.'), 3) != ".D ")
        return WORD;
    // Z and AT answer plain values; all other devices read in double words are timers and counters.
    return device.startsWith('Z') || device.startsWith("AT") ? DOUBLE_WORD : TRIPLE;
}

bool fits(const char *shape, const QByteArray &value)
{
    for (int i = 0; shape[i] != '\0'; ++i) {
        if (shape[i] == '0' ? !isDigit(value[i]) : !isSeparator(value[i]))
            return false;
    }
    return true;
}

bool holdsTooLarge(const QByteArray &value)
{
    for (int at = value.size() == 23 ? 2 : 0; at + 10 <= value.size(); at += 11) {
        if (value.mid(at, 10) > "2147483647")
            return true;
    }
    return false;
}

AnswerVerdict checkValues(const char *shape, const QByteArray &answer)
{
    AnswerVerdict verdict;
    const int width = int(std::strlen(shape));
    const QByteArray data = answer.left(answer.size() - 2);
    for (int at = 0; at < data.size(); at += width + 1) {
        const QByteArray value = data.mid(at, width);
        const bool last = at + width == data.size();
        if (value.size() != width || !fits(shape, value) || (!last && data[at + width] != ' '))
            return {};
        if (holdsTooLarge(value))
            verdict.tooLarge << at / (width + 1);
    }
    verdict.kind = AnswerKind::Good;
    return verdict;
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
        return answer.size() == replyLength ? checkValues(valueTemplate(frame), answer) : AnswerVerdict{};
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
    for (const char *shape : {WORD, DOUBLE_WORD, TRIPLE}) {
        if (checkValues(shape, answer).kind == AnswerKind::Good)
            return true;
    }
    return false;
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
