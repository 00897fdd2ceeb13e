// SPDX-License-Identifier: MIT
// Writes, pulses and push buttons of a link: what is wrong with one
// ends it here, the rest goes to the engine.
#include "api/plc_core.h"

#include "api/settings_check.h"
#include "engine/write_outcomes.h"
#include "model/value_codec.h"

namespace kvlink
{
namespace
{
constexpr Duration shortestPulse = 10ms;
constexpr Duration longestPulse = 60s;

// An end that never comes would be a bug of the engine; nobody waits for it longer than any
// write can take.
constexpr Duration longestWrite = 48h;

bool isOneBit(const Place &place)
{
    return place.format == Format::Bit && place.element == Element::Bit && place.values == 1;
}
} // namespace

// --- writes --------------------------------------------------------------------------------------

WriteId PlcCore::newWrite(End end)
{
    const WriteId id = newId();
    if (end == End::Awaited)
        m_mailbox.expect(id);
    return id;
}

// \param what of InvalidValue: what is wrong
void PlcCore::endUnsent(WriteId id, Tag tag, Reason reason, const QString &what)
{
    const SystemClock clock;
    Events events;
    ++m_unsent;
    events.writes.push_back({id, tag, Outcome::NotSent, reason, 0, endText(Outcome::NotSent, reason, what), 0,
                             clock.wallNow(), clock.now()});
    m_mailbox.put(events);
}

WriteId PlcCore::write(Tag tag, const Value &value, const WriteOptions &options, End end)
{
    const WriteId id = newWrite(end);
    const QString problem = problemOf(options);
    if (!m_mailbox.hasTag(tag))
        endUnsent(id, tag, Reason::InvalidValue, QStringLiteral("there is no such tag"));
    else if (!problem.isEmpty())
        endUnsent(id, tag, Reason::InvalidValue, problem);
    else if (!post([=](Engine &engine) { engine.write({id, tag, value, options}); }))
        endUnsent(id, tag, Reason::Stopped);
    return id;
}

WriteId PlcCore::writeText(Tag tag, const QString &typed, const WriteOptions &options, End end)
{
    QString problem = QStringLiteral("there is no such tag");
    const std::optional<EngineTag> known = engineTagOf(tag);
    std::optional<Value> value;
    if (known)
        value = valueFromText(known->place, typed, known->scale, known->offset, problem);
    if (value)
        return write(tag, *value, options, end);
    const WriteId id = newWrite(end);
    endUnsent(id, tag, Reason::InvalidValue, problem);
    return id;
}

std::optional<WriteResult> PlcCore::waitForWrite(WriteId id, Duration longest)
{
    const std::optional<Event> event = m_mailbox.await(id, std::min(longest, longestWrite));
    const WriteResult *result = event ? std::get_if<WriteResult>(&*event) : nullptr;
    return result == nullptr ? std::nullopt : std::optional(*result);
}

WriteId PlcCore::pulse(Tag relay, Duration length, End end)
{
    const WriteId id = newWrite(end);
    QString problem;
    if (!isButton(relay, problem))
        endUnsent(id, relay, Reason::InvalidValue, problem);
    else if (length < shortestPulse || length > longestPulse)
        endUnsent(id, relay, Reason::InvalidValue, QStringLiteral("a pulse lasts between 10 ms and 60 s"));
    else if (!post([=](Engine &engine) { engine.pulse(id, relay, length); }))
        endUnsent(id, relay, Reason::Stopped);
    return id;
}

bool PlcCore::cancel(WriteId id)
{
    bool cancelled = false;
    if (m_thread)
        m_thread->call([&](Engine &engine) { cancelled = engine.cancel(id); });
    return cancelled;
}

int PlcCore::cancelAll()
{
    int cancelled = 0;
    if (m_thread)
        m_thread->call([&](Engine &engine) { cancelled = engine.cancelAll(); });
    return cancelled;
}

// --- push buttons --------------------------------------------------------------------------------

bool PlcCore::isButton(Tag relay, QString &problem) const
{
    const std::optional<EngineTag> known = engineTagOf(relay);
    problem.clear();
    if (!known)
        problem = QStringLiteral("there is no such tag");
    else if (!isOneBit(known->place))
        problem = QStringLiteral("%1 is not a single relay or bit").arg(known->place.name());
    else if (known->readOnly || !known->place.device->writable)
        problem = QStringLiteral("%1 is read-only").arg(known->place.name());
    return problem.isEmpty();
}

void PlcCore::press(WriteId id, Tag relay)
{
    if (!post([=](Engine &engine) { engine.press(id, relay); }))
        endUnsent(id, relay, Reason::Stopped);
}

void PlcCore::renew(WriteId press)
{
    post([press](Engine &engine) { engine.renew(press); });
}

void PlcCore::release(WriteId press)
{
    post([press](Engine &engine) { engine.release(press); });
}

} // namespace kvlink
