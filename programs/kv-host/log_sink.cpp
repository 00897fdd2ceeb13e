#include "log_sink.h"

namespace kvhost
{

void LogBuffer::add(const Row &row)
{
    if (m_waiting.size() >= m_most) {
        m_waiting.pop_front();
        ++m_lost;
    }
    m_waiting.push_back(row);
}

void LogBuffer::flush()
{
    if (m_waiting.empty())
        return;
    const std::vector<Row> batch(m_waiting.begin(), m_waiting.end());
    m_problem.clear();
    if (!m_sink->write(batch, &m_problem))
        return;
    m_written += qint64(batch.size());
    m_waiting.clear();
}

} // namespace kvhost
