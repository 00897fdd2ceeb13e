// SPDX-License-Identifier: MIT
#include "engine/answer_splitter.h"

#include <string_view>

namespace kvlink
{

namespace
{
// Without a length and without a line end an answer must stop somewhere: no KV answer is longer.
constexpr int longestAnswer = 64 * 1024;
} // namespace

void AnswerSplitter::feed(const QByteArray &bytes)
{
    if (m_complete) {
        m_surplus += bytes;
        return;
    }
    if (m_answer.isEmpty())
        m_answer = bytes; // shared, not copied: mostly an answer comes in one piece
    else
        m_answer += bytes;
    const int end = endOfAnswer();
    if (end < 0)
        return;
    m_complete = true;
    if (end == m_answer.size())
        return;
    m_surplus = m_answer.mid(end);
    m_answer.truncate(end);
}

int AnswerSplitter::endOfLine() const
{
    // By the system's search for one byte, which takes a fraction of a search for two.
    const std::string_view answer(m_answer.constData(), std::size_t(m_answer.size()));
    std::size_t at = answer.find('\n');
    while (at != std::string_view::npos && (at == 0 || answer[at - 1] != '\r'))
        at = answer.find('\n', at + 1);
    return at == std::string_view::npos ? -1 : int(at) + 1;
}

int AnswerSplitter::endOfAnswer() const
{
    const int byLine = endOfLine();
    const int limit = m_length > 0 ? m_length : longestAnswer;
    const int byLength = m_answer.size() >= limit ? limit : -1;
    if (byLine >= 0 && byLength >= 0)
        return qMin(byLine, byLength);
    return qMax(byLine, byLength);
}

} // namespace kvlink
