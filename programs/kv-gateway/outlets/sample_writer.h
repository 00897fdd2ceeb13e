// SPDX-License-Identifier: MIT
// What an outlet for a database wants from it. Tests have one of their own.
#pragma once

#include "outlet.h"

namespace kvgateway
{

enum class WriteResult : quint8 {
    Written, ///< all rows are there, on the disk of the database; those it had before are there once
    Refused, ///< none is: the database takes one of them never, whatever else happens
    Lost,    ///< nobody knows: the connection is to be opened again
};

/// What a database keeps of a tag beside its rows.
struct TagFacts {
    QString name; ///< the whole name: "line1.speed"
    QString unit;
    QString comment;
};

/// All calls wait, for half a minute at most; all in one thread, but for interrupt().
class SampleWriter
{
public:
    virtual ~SampleWriter() = default;

    /// \return false with the problem, for people
    virtual bool open(QString &problem) = 0;
    /// What is known of the tags. \return false: the connection is to be opened again
    virtual bool takeTags(const std::vector<TagFacts> &tags, QString &problem) = 0;
    /// All of the rows or none.
    virtual WriteResult write(const std::vector<OutletRow> &rows, QString &problem) = 0;
    /// Does not wait. \return false: the database has ended the connection
    virtual bool isAlive(QString &problem) = 0;
    virtual void close() = 0;
    /// Any thread: ends what is waited for, now and ever after.
    virtual void interrupt() = 0;
};

} // namespace kvgateway
