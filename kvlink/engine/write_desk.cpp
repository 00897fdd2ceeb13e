// SPDX-License-Identifier: MIT
#include "engine/write_desk.h"

#include <algorithm>

namespace kvlink
{

namespace
{
constexpr int mostAttempts = 10;
constexpr Duration shortestPulse = 10ms;
constexpr Duration longestPulse = 60s;
} // namespace

WriteDesk::WriteDesk(const Clock &clock, ValueBook &book, const LinkSettings &settings)
    : m_clock(clock), m_book(book), m_settings(settings), m_queue(settings.timeout, mostWaiting)
{
}

// --- coming in -----------------------------------------------------------------------------------

// Nothing: it has ended already.
std::optional<QueuedWrite> WriteDesk::prepared(const EngineWrite &write)
{
    QueuedWrite queued;
    queued.id = write.id;
    queued.tag = write.tag;
    queued.options = write.options;
    const auto refused = [&](Reason reason, const QString &what) {
        m_queue.refuse(queued, reason, what);
        return std::nullopt;
    };
    if (m_isStopping)
        return refused(Reason::Stopped, {});
    const ValueBook::Slot slot = m_book.find(write.tag);
    if (slot == ValueBook::noSlot)
        return refused(Reason::InvalidValue, QStringLiteral("there is no such tag"));
    const EngineTag &tag = m_book.tag(slot);
    if (tag.readOnly)
        return refused(Reason::NotPermitted, QStringLiteral("%1 is read-only").arg(tag.place.name()));
    if (write.options.expires <= Duration(0))
        return refused(Reason::InvalidValue, QStringLiteral("a write must expire later than at once"));
    QString problem;
    if (!canWrite(tag.place, problem))
        return refused(Reason::NotPermitted, problem);
    const Coding coding{m_settings.wordOrder, m_settings.textEncoding};
    const int mostUnits = std::min(m_settings.maxBlock, tag.place.device->mostUnits);
    auto requests = encode(tag.place, write.value, coding, tag.scale, tag.offset, mostUnits, problem);
    if (!requests)
        return refused(Reason::InvalidValue, problem);
    queued.requests = std::move(*requests);
    queued.options.attempts = tag.command ? 1 : std::clamp(write.options.attempts, 1, mostAttempts);
    return queued;
}

void WriteDesk::write(const EngineWrite &write, bool online)
{
    if (std::optional<QueuedWrite> queued = prepared(write))
        m_queue.add(std::move(*queued), online, m_clock.now());
}

void WriteDesk::pulse(WriteId id, Tag relay, Duration length, bool online)
{
    beginStroke(id, relay, std::clamp(length, shortestPulse, longestPulse), online);
}

void WriteDesk::press(WriteId id, Tag relay, bool online)
{
    beginStroke(id, relay, std::nullopt, online);
}

void WriteDesk::beginStroke(WriteId id, Tag relay, std::optional<Duration> length, bool online)
{
    WriteOptions options;
    options.attempts = 1;
    if (!length)
        options.expires = PushButtons::lease;
    const SteadyTime now = m_clock.now();
    std::optional<QueuedWrite> press = prepared({id, relay, true, options});
    if (!press)
        return;
    const Place &place = m_book.tag(m_book.find(relay)).place;
    if (place.format != Format::Bit) {
        m_queue.refuse(*press, Reason::InvalidValue,
                       QStringLiteral("%1 is not a single bit").arg(place.name()));
        return;
    }
    std::optional<QueuedWrite> release = prepared({id, relay, false, options}); // as good as the press
    press->kind = WriteKind::Press;
    release->kind = WriteKind::Release;
    m_buttons.begin(std::move(*release), length, now);
    m_queue.add(std::move(*press), online, now);
}

// --- while they wait -----------------------------------------------------------------------------

void WriteDesk::tick(SteadyTime now, bool online)
{
    m_queue.expire(now);
    if (m_isStopping)
        m_queue.endButReleases(); // the one that was in hand may want another request
    for (QueuedWrite &release : m_buttons.takeDue(now))
        m_queue.add(std::move(release), online, now);
}

void WriteDesk::beginStop(SteadyTime now)
{
    m_isStopping = true;
    m_queue.endButReleases();
    tellEnds(now); // a press that was not sent takes its release with it
}

void WriteDesk::stop(SteadyTime now)
{
    m_isStopping = false;
    m_queue.stop();
    tellEnds(now);
    for (const WriteEnd &end : m_buttons.stop())
        tell(end, now);
}

// --- going out -----------------------------------------------------------------------------------

void WriteDesk::tellEnds(SteadyTime now)
{
    for (const WriteEnd &end : m_queue.takeEnded()) {
        const ValueBook::Slot slot = m_book.find(end.tag);
        const bool mayHaveChanged = end.outcome == Outcome::Done || end.outcome == Outcome::Unknown;
        if (mayHaveChanged && slot != ValueBook::noSlot)
            m_book.setPending(slot);
        if (end.kind == WriteKind::Plain) {
            tell(end, now);
        } else if (const std::optional<WriteEnd> stroke = m_buttons.ended(end, now)) {
            tell(*stroke, now);
        }
    }
}

void WriteDesk::tell(const WriteEnd &end, SteadyTime now)
{
    ++counterOf(end.outcome);
    m_results.push_back(
        {end.id, end.tag, end.outcome, end.reason, end.plcError, end.text, end.sent, m_clock.wallNow(), now});
}

quint64 &WriteDesk::counterOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Done:
        return m_counters.writesDone;
    case Outcome::Refused:
        return m_counters.writesRefused;
    case Outcome::NotSent:
        return m_counters.writesNotSent;
    case Outcome::Unknown:
        break;
    }
    return m_counters.writesUnknown;
}

void WriteDesk::fill(LinkStatistics &statistics) const
{
    statistics.writesDone = m_counters.writesDone;
    statistics.writesRefused = m_counters.writesRefused;
    statistics.writesNotSent = m_counters.writesNotSent;
    statistics.writesUnknown = m_counters.writesUnknown;
}

} // namespace kvlink
