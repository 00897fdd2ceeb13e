// SPDX-License-Identifier: MIT
// Writes, pulses and push buttons of a link: what is wrong with one ends it here, and all others go
// on to the engine.
//
// Threads: every call from any thread.
#pragma once

#include "api/plc_link.h"

namespace kvlink
{

class PlcWrites
{
public:
    explicit PlcWrites(PlcLink &link) : m_link(link) {}

    /// Who gets the end of a write.
    enum class End {
        AsEvent, ///< it is an entry of the mailbox
        Awaited  ///< waitForWrite() takes it, and must be called
    };
    WriteId write(Tag tag, const Value &value, const WriteOptions &options, End end = End::AsEvent);
    WriteId writeText(Tag tag, const QString &typed, const WriteOptions &options, End end = End::AsEvent);
    /// The end of a write that is awaited. \a longest must be given where the caller cannot wait
    /// for the end itself.
    std::optional<WriteResult> waitForWrite(WriteId id, Duration longest);
    WriteId pulse(Tag relay, Duration length, End end = End::AsEvent);
    bool cancel(WriteId id);
    int cancelAll();
    /// As Plc::framesOfWrite.
    QStringList framesOfWrite(Tag tag, const QString &typed, QString &problem);
    /// How many writes have ended here.
    quint64 unsent() const { return m_unsent; }

    /// True for a single relay or bit that may be written. \param problem set otherwise
    bool isButton(Tag relay, QString &problem) const;
    void press(WriteId id, Tag relay);
    void renew(WriteId press);
    void release(WriteId press);

private:
    WriteId newWrite(End end);
    void endUnsent(WriteId id, Tag tag, Reason reason, const QString &what = {});

    PlcLink &m_link;
    std::atomic<quint64> m_unsent{0};
};

} // namespace kvlink
