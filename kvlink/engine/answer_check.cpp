// SPDX-License-Identifier: MIT
#include "engine/answer_check.h"

#include <cstring>
#include <string_view>

#include <QtEndian>

namespace kvlink
{

namespace
{

// What one value looks like: 0 a digit, anything else a separator.
constexpr std::string_view wordShape = "00000";
constexpr std::string_view doubleWordShape = "0000000000";
constexpr std::string_view tripleShape = "0,0000000000,0000000000";
constexpr std::string_view largestStored = "2147483647";
constexpr int lineEnd = 2;

std::string_view shapeOfValue(AnswerShape shape)
{
    if (shape == AnswerShape::Triples)
        return tripleShape;
    return shape == AnswerShape::DoubleWords ? doubleWordShape : wordShape;
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isSeparator(char c)
{
    return c == ' ' || c == ',';
}

// Every value of every answer passes here: one pass over its characters and no way out early.
bool fits(std::string_view shape, const char *value)
{
    unsigned good = 1;
    for (std::size_t i = 0; i < shape.size(); ++i)
        good &= unsigned(shape[i] == '0' ? isDigit(value[i]) : isSeparator(value[i]));
    return good != 0;
}

bool isValues(std::string_view shape, const QByteArray &answer)
{
    const int width = int(shape.size());
    const int size = int(answer.size()) - lineEnd;
    if (size < width || (size + 1) % (width + 1) != 0)
        return false;
    const char *data = answer.constData();
    for (int at = 0; at < size; at += width + 1) {
        const bool last = at + width == size;
        if (!fits(shape, data + at) || (!last && data[at + width] != ' '))
            return false;
    }
    return true;
}

bool isError(const QByteArray &answer)
{
    return answer.size() == 4 && answer[0] == 'E' && isDigit(answer[1]) && answer.endsWith("\r\n");
}

bool isGood(AnswerShape shape, const QByteArray &answer)
{
    switch (shape) {
    case AnswerShape::Greeting:
        return answer == "CC\r\n";
    case AnswerShape::Acknowledgement:
        return answer == "OK\r\n";
    case AnswerShape::Line:
        return answer.size() > lineEnd;
    case AnswerShape::Words:
    case AnswerShape::DoubleWords:
    case AnswerShape::Triples:
        break;
    }
    return isValues(shapeOfValue(shape), answer);
}

// Stores the number at \a digits in element \a i of \a image if it is one that the
// driver cannot hold.
void takeLarge(QByteArray &image, int i, const char *digits)
{
    const std::string_view text(digits, largestStored.size());
    if (text <= largestStored || image.size() < (i + 1) * 4)
        return;
    quint64 number = 0;
    for (const char digit : text)
        number = number * 10 + quint64(digit - '0');
    qToLittleEndian(quint32(number), image.data() + i * 4);
}

} // namespace

AnswerShape shapeFor(const QByteArray &frame)
{
    if (frame.startsWith("CR\r"))
        return AnswerShape::Greeting;
    if (frame.startsWith('?'))
        return AnswerShape::Line;
    if (!frame.startsWith("RDS "))
        return AnswerShape::Acknowledgement;
    if (!frame.contains(".D "))
        return AnswerShape::Words;
    // Z and AT answer plain values; all other devices read in double words are timers and counters.
    const char *device = frame.constData() + std::strlen("RDS ");
    return device[0] == 'Z' || std::strncmp(device, "AT", 2) == 0 ? AnswerShape::DoubleWords
                                                                  : AnswerShape::Triples;
}

AnswerVerdict checkAnswer(AnswerShape shape, int length, const QByteArray &answer)
{
    if (isError(answer))
        return {AnswerKind::Error, quint8(answer[1] - '0')};
    const bool rightLength = length < 1 || answer.size() == length;
    if (!rightLength || !answer.endsWith("\r\n") || !isGood(shape, answer))
        return {};
    return {AnswerKind::Good, 0};
}

void takeLargeNumbers(UnitBlock &block, AnswerShape shape, const QByteArray &answer)
{
    if (shape == AnswerShape::Words)
        return; // five digits: the driver holds them all
    const int width = int(shapeOfValue(shape).size()) + 1;
    const char *value = answer.constData();
    for (int i = 0; i < block.unitCount && (i + 1) * width <= answer.size(); ++i, value += width) {
        if (shape == AnswerShape::DoubleWords)
            takeLarge(block.whole, i, value);
        if (shape == AnswerShape::Triples) {
            takeLarge(block.current, i, value + tripleShape.find(',') + 1);
            takeLarge(block.set, i, value + tripleShape.rfind(',') + 1);
        }
    }
}

bool isCopies(const QByteArray &surplus, const QByteArray &answer)
{
    for (int i = 0; i < surplus.size(); ++i) {
        if (answer.isEmpty() || surplus[i] != answer[i % answer.size()])
            return false;
    }
    return true;
}

} // namespace kvlink
