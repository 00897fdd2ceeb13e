// SPDX-License-Identifier: MIT
// What the C++ face and the C face have in common: one link with its thread, its tags and its
// mailbox; no signals.
//
// What can be judged without the PLC (addresses, settings, options, texts) is judged in the
// caller's thread; the rest goes to the engine on the link's thread.
//
// Threads: every call from any thread, but for the destructor.
#pragma once

#include "api/link_thread.h"
#include "api/mailbox.h"

#include <kvlink/plc.h>

#include <atomic>

namespace kvlink
{

class PlcCore
{
public:
    /// What makes a link impossible from the start.
    enum class Fault { None, Settings, Address, Driver };
    /// What a link stands on, handed in. With a fault the problem says why, and the rest
    /// may be null.
    struct Parts {
        std::unique_ptr<Clock> clock;
        std::unique_ptr<Transport> transport;
        std::unique_ptr<Driver> driver;
        Fault fault = Fault::None;
        QString problem;
    };
    /// The system's clock, the transport of the url, a private copy of the driver.
    static Parts systemParts(const LinkSettings &settings);

    explicit PlcCore(const LinkSettings &settings);
    PlcCore(const LinkSettings &settings, Parts parts);
    ~PlcCore(); ///< stops

    QString problem() const;
    Fault fault() const { return m_parts.fault; }
    const LinkSettings &settings() const { return m_settings; }
    Mailbox &mailbox() { return m_mailbox; }
    bool start();
    void stop();
    /// Of a write, a read or a query.
    quint64 newId() { return ++m_lastId; }

    Tag addTag(const TagSettings &settings, QString *problem);
    std::vector<Tag> addTags(const std::vector<TagSettings> &settings, QStringList *problems);
    bool removeTag(Tag tag);
    bool setPeriod(Tag tag, Duration period);
    TagSettings tagSettings(Tag tag) const;

    Sample sample(Tag tag) const;
    std::vector<Sample> samples(const std::vector<Tag> &tags) const;
    /// The first entry of the mailbox, a change with the newest sample of its tag.
    std::optional<Event> take();
    ReadId readNow(const std::vector<Tag> &tags);
    /// As Plc::read. \return false when they were not all read within \a longest
    bool read(const std::vector<Tag> &tags, Duration longest);

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

    /// True for a single relay or bit that may be written. \param problem set otherwise
    bool isButton(Tag relay, QString &problem) const;
    void press(WriteId id, Tag relay);
    void renew(WriteId press);
    void release(WriteId press);

    LinkStatistics statistics() const;
    ReadPlan plan() const;
    /// As Plc::framesOfWrite.
    QStringList framesOfWrite(Tag tag, const QString &typed, QString &problem);
    /// A question that changes nothing in the PLC.
    static bool isQuestion(const QString &command);
    static QString noQuestion(const QString &command); ///< why it is not sent
    QueryId query(const QString &command);
    QueryResult queryAndWait(const QString &command, Duration longest);

private:
    bool post(LinkThread::Command command);
    std::optional<EngineTag> engineTagOf(Tag tag) const;
    WriteId newWrite(End end);
    void endUnsent(WriteId id, Tag tag, Reason reason, const QString &what = {});
    void ask(QueryId id, const QString &command);

    const LinkSettings m_settings;
    const Parts m_parts;
    QString m_problem;
    std::atomic<quint64> m_lastId{0}; ///< of writes, reads and queries alike
    std::atomic<quint64> m_unsent{0}; ///< writes that ended here
    Mailbox m_mailbox;
    std::unique_ptr<Engine> m_engine;     ///< null with a problem of the parts
    std::unique_ptr<LinkThread> m_thread; ///< null as well; ends first
    mutable std::mutex m_problemMutex;    ///< guards m_problem
    std::mutex m_lifeMutex;               ///< held by start and stop; before all others
};

} // namespace kvlink
