// Where logged values go: CSV files or an SQLite database. A sink either takes a batch as a whole or takes
// none of it, so that what it could not write can be offered again.
#pragma once

#include "output.h"

#include <deque>
#include <memory>
#include <vector>

namespace kvhost
{

class LogSink
{
public:
    virtual ~LogSink() = default;
    /// \return false: nothing of the batch was written, problem tells why
    virtual bool write(const std::vector<Row> &batch, QString *problem) = 0;
};

/// \param rotateMs begin a new file after so long; 0: never. With rotation the time is put into the name:
///                 values.csv becomes values-20260131-235900.csv
std::unique_ptr<LogSink> csvSink(const QString &path, qint64 rotateMs);
std::unique_ptr<LogSink> sqliteSink(const QString &path);

/// Name of the file that begins at this time (ms since 1970, UTC). Pure.
QString rotatedName(const QString &path, qint64 timeMs);

/// Holds what a sink does not take at once. A full disk or a locked file stops nothing: what waits too long
/// is lost from the oldest on, and counted.
class LogBuffer
{
public:
    explicit LogBuffer(std::unique_ptr<LogSink> sink, std::size_t most = 100000)
        : m_sink(std::move(sink)), m_most(most)
    {
    }

    void add(const Row &row);
    /// Offers everything that waits to the sink.
    void flush();

    qint64 written() const { return m_written; }
    qint64 lost() const { return m_lost; }
    std::size_t waiting() const { return m_waiting.size(); }
    /// Empty while the sink takes what it is offered.
    const QString &problem() const { return m_problem; }

private:
    std::unique_ptr<LogSink> m_sink;
    std::size_t m_most;
    std::deque<Row> m_waiting;
    qint64 m_written = 0;
    qint64 m_lost = 0;
    QString m_problem;
};

} // namespace kvhost
