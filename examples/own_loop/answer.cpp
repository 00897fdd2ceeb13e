// SPDX-License-Identifier: MIT
#include "answer.h"

#include <Communication_Protocol.h>

namespace
{
constexpr int errorLength = 4; // "E1" CR LF
constexpr int wordLength = 6;  // "00001" and the space after it

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

// Words: "00001 00002 65535".
bool areWords(const QByteArray &text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (i % wordLength == wordLength - 1 ? text.at(i) != ' ' : !isDigit(text.at(i)))
            return false;
    }
    return text.size() % wordLength == wordLength - 1;
}
} // namespace

Shape shapeOf(const QByteArray &answer, const Protocol &request)
{
    if (!answer.endsWith("\r\n"))
        return Shape::Wrong;
    if (answer.size() == errorLength && answer.at(0) == 'E' && isDigit(answer.at(1)))
        return Shape::Error;
    if (answer.size() != request.replyLength)
        return Shape::Wrong;
    const bool fits = request.var.accessMode == kvReplyIsShort
                          ? answer == "OK\r\n"
                          : areWords(answer.left(answer.size() - int(sizeof "\r\n") + 1));
    return fits ? Shape::Expected : Shape::Wrong;
}
