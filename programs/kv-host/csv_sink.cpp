// Logged values as CSV files.
#include "log_sink.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kvhost
{

namespace
{

class CsvSink : public LogSink
{
public:
    CsvSink(QString path, qint64 rotateMs) : m_path(std::move(path)), m_rotateMs(rotateMs) {}
    ~CsvSink() override { close(); }

    bool write(const std::vector<Row> &batch, QString *problem) override
    {
        if (!openFor(batch.front().timeMs, problem))
            return false;
        QByteArray text = m_end == 0 ? QByteArray(CSV_HEADER) + "\n" : QByteArray();
        for (const Row &row : batch)
            text += csvLine(row).toUtf8() + "\n";
        return append(text, problem);
    }

private:
    bool openFor(qint64 timeMs, QString *problem)
    {
        const qint64 begin = m_rotateMs > 0 ? timeMs - timeMs % m_rotateMs : 0;
        if (m_file >= 0 && begin == m_begin)
            return true;
        close();
        const QString name = m_rotateMs > 0 ? rotatedName(m_path, begin) : m_path;
        m_file = ::open(QFile::encodeName(name).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (m_file < 0) {
            *problem = QStringLiteral("%1: %2").arg(name, qt_error_string(errno));
            return false;
        }
        m_begin = begin;
        m_end = qMax<qint64>(::lseek(m_file, 0, SEEK_END), 0);
        return true;
    }

    // A disk that is full may take a part; what it took of the batch is cut off again, so that no line is
    // torn and none comes twice.
    bool append(const QByteArray &text, QString *problem)
    {
        qint64 done = 0;
        while (done < text.size()) {
            const ssize_t size =
                ::pwrite(m_file, text.constData() + done, std::size_t(text.size() - done), m_end + done);
            if (size < 0 && errno == EINTR)
                continue;
            if (size <= 0)
                return undo(size < 0 ? errno : ENOSPC, problem);
            done += size;
        }
        m_end += done;
        return true;
    }

    bool undo(int error, QString *problem)
    {
        *problem = QStringLiteral("%1: %2").arg(m_path, qt_error_string(error));
        if (::ftruncate(m_file, m_end) != 0)
            close(); // not a file that can be cut: start anew the next time
        return false;
    }

    void close()
    {
        if (m_file >= 0)
            ::close(m_file);
        m_file = -1;
    }

    QString m_path;
    qint64 m_rotateMs;
    int m_file = -1;
    qint64 m_begin = -1;
    qint64 m_end = 0;
};

} // namespace

std::unique_ptr<LogSink> csvSink(const QString &path, qint64 rotateMs)
{
    return std::make_unique<CsvSink>(path, rotateMs);
}

QString rotatedName(const QString &path, qint64 timeMs)
{
    const QString stamp =
        QDateTime::fromMSecsSinceEpoch(timeMs, Qt::UTC).toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QFileInfo info(path);
    const QString suffix = info.suffix();
    if (suffix.isEmpty())
        return path + "-" + stamp;
    return path.left(path.size() - suffix.size() - 1) + "-" + stamp + "." + suffix;
}

} // namespace kvhost
