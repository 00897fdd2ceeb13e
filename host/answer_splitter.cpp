#include "answer_splitter.h"

namespace kvhost
{

namespace
{
// Without a length and without a line end an answer must stop somewhere: no KV answer is longer.
constexpr int LONGEST_ANSWER = 64 * 1024;
} // namespace

void AnswerSplitter::feed(const QByteArray &bytes)
{
    if (m_complete) {
        m_surplus += bytes;
        return;
    }
    m_answer += bytes;
    const int end = endOfAnswer();
    if (end < 0)
        return;
    m_complete = true;
    m_surplus = m_answer.mid(end);
    m_answer.truncate(end);
}

int AnswerSplitter::endOfAnswer() const
{
    const int lineEnd = int(m_answer.indexOf("\r\n"));
    const int byLine = lineEnd < 0 ? -1 : lineEnd + 2;
    const int limit = m_length > 0 ? m_length : LONGEST_ANSWER;
    const int byLength = m_answer.size() >= limit ? limit : -1;
    if (byLine >= 0 && byLength >= 0)
        return qMin(byLine, byLength);
    return qMax(byLine, byLength);
}

} // namespace kvhost
