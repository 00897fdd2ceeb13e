// SPDX-License-Identifier: MIT
// --record: what came and went, in a file.
#include "shell/recorder.h"

#include "shell/error_output.h"

#include <QDateTime>

namespace kvsim
{
namespace
{

constexpr qint64 largestRecording = qint64(1024) * 1024 * 1024;

} // namespace

std::string Recorder::open(const std::string &path, const std::string &model)
{
    m_file.setFileName(QString::fromStdString(path));
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return path + ": " + m_file.errorString().toStdString() + "; --record takes the name of a new file";
    m_clock.start();
    RecordedEvent start;
    start.bytes = model;
    append(eventToLine(start, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toStdString()));
    return {};
}

void Recorder::write(RecordedEvent event)
{
    event.ms = std::uint64_t(m_clock.elapsed());
    append(eventToLine(event));
}

// Each line is written at once, so that a recording is whole up to the moment of a crash.
void Recorder::append(const std::string &line)
{
    if (!m_file.isOpen())
        return;
    const QByteArray bytes = QByteArray::fromStdString(line) + '\n';
    if (m_file.size() + bytes.size() > largestRecording)
        stop(QStringLiteral("it has reached 1 GiB"));
    else if (m_file.write(bytes) != bytes.size())
        stop(m_file.errorString());
}

void Recorder::stop(const QString &reason)
{
    tellError("kv-sim: the recording " + m_file.fileName().toStdString() +
              " ends here: " + reason.toStdString());
    m_file.close();
    m_failed = true;
}

} // namespace kvsim
