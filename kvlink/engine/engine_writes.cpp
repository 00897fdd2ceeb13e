// SPDX-License-Identifier: MIT
// Writes: what is checked before they wait, and how their ends are told.
#include "engine/engine.h"

#include <algorithm>

namespace kvlink
{

namespace
{
constexpr int mostAttempts = 10;
constexpr Duration shortestPulse = 10ms;
constexpr Duration longestPulse = 60s;
} // namespace

// Nothing: it has ended already.
std::optional<QueuedWrite> Engine::prepared(const EngineWrite &write)
{
    QueuedWrite queued;
    queued.id = write.id;
    queued.tag = write.tag;
    queued.options = write.options;
    const auto refused = [&](Reason reason, const QString &what) {
        m_writes.refuse(queued, reason, what);
        return std::nullopt;
    };
    if (isStopping())
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

void Engine::write(const EngineWrite &write)
{
    if (std::optional<QueuedWrite> queued = prepared(write))
        m_writes.add(std::move(*queued), m_life.isReady(), m_clock.now());
}

void Engine::pulse(WriteId id, Tag relay, Duration length)
{
    beginStroke(id, relay, std::clamp(length, shortestPulse, longestPulse));
}

void Engine::press(WriteId id, Tag relay)
{
    beginStroke(id, relay, std::nullopt);
}

void Engine::beginStroke(WriteId id, Tag relay, std::optional<Duration> length)
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
    if (place.format != Format::Bit || place.values != 1) {
        m_writes.refuse(*press, Reason::InvalidValue,
                        QStringLiteral("%1 is not a single bit").arg(place.name()));
        return;
    }
    std::optional<QueuedWrite> release = prepared({id, relay, false, options}); // as good as the press
    press->kind = WriteKind::Press;
    release->kind = WriteKind::Release;
    m_buttons.begin(std::move(*release), length, now);
    m_writes.add(std::move(*press), m_life.isReady(), now);
}

void Engine::renew(WriteId press)
{
    m_buttons.renew(press, m_clock.now());
}

void Engine::release(WriteId press)
{
    m_buttons.release(press, m_clock.now());
}

bool Engine::cancel(WriteId id)
{
    return m_writes.cancel(id);
}

int Engine::cancelAll()
{
    return m_writes.cancelAll();
}

void Engine::moveWrites(SteadyTime now)
{
    m_writes.expire(now);
    if (isStopping())
        m_writes.endButReleases(); // the one that was in hand may want another request
    for (QueuedWrite &release : m_buttons.takeDue(now))
        m_writes.add(std::move(release), m_life.isReady(), now);
}

void Engine::tellEnds(SteadyTime now)
{
    for (const WriteEnd &end : m_writes.takeEnded()) {
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
    for (const ReadId id : m_reader.takeEnded())
        m_events.reads.push_back(id);
}

void Engine::tell(const WriteEnd &end, SteadyTime now)
{
    switch (end.outcome) {
    case Outcome::Done:
        ++m_counters.writesDone;
        break;
    case Outcome::Refused:
        ++m_counters.writesRefused;
        break;
    case Outcome::NotSent:
        ++m_counters.writesNotSent;
        break;
    case Outcome::Unknown:
        ++m_counters.writesUnknown;
        break;
    }
    m_events.writes.push_back(
        {end.id, end.tag, end.outcome, end.reason, end.plcError, end.text, end.sent, m_clock.wallNow(), now});
}

} // namespace kvlink
