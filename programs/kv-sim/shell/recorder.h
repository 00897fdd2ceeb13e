// SPDX-License-Identifier: MIT
// --record: what came and went, as JSON lines in a new file.
#pragma once

#include "recording/recorded_event.h"

#include <QElapsedTimer>
#include <QFile>

#include <string>

namespace kvsim
{

class Recorder
{
public:
    /// The file must not exist yet: a recording never replaces another one. \return empty, or why
    /// it cannot be written
    std::string open(const std::string &path, const std::string &model);

    /// Adds the time. After a failure, or 1 GiB, nothing more is written; the reason is
    /// on stderr then.
    void write(RecordedEvent event);

    bool hasFailed() const { return m_failed; }

private:
    void append(const std::string &line);
    void stop(const QString &reason);

    QFile m_file;
    QElapsedTimer m_clock;
    bool m_failed = false;
};

} // namespace kvsim
