// SPDX-License-Identifier: MIT
// Counts the connections of an edge node, 0 to 255 and again, over restarts: by this number a host
// knows which birth a death belongs to.
#pragma once

#include <QString>

namespace kvgateway
{

/// One thread at a time.
class BirthCount
{
public:
    /// \param path of a file with the next number; without one counting begins at 0
    explicit BirthCount(QString path);

    /// On disk before it is used: a crash leaves a number out, and never brings one twice.
    quint8 next();
    /// No broker heard of the last one: it is the next one again.
    void giveBack();
    /// Why the file does not keep it, and what to do; empty: it does.
    const QString &problem() const { return m_problem; }

private:
    void set(quint8 number);

    const QString m_path;
    quint8 m_next = 0;
    QString m_problem;
};

} // namespace kvgateway
