// SPDX-License-Identifier: MIT
#include "api/plc_writes.h"

#include "api/settings_check.h"
#include "api/write_frames.h"
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

WriteId PlcWrites::newWrite(End end)
{
    const WriteId id = m_link.newId();
    if (end == End::Awaited)
        m_link.mailbox().expect(id);
    return id;
}

// \param what of InvalidValue: what is wrong
void PlcWrites::endUnsent(WriteId id, Tag tag, Reason reason, const QString &what)
{
    const SystemClock clock;
    Events events;
    ++m_unsent;
    events.writes.push_back({id, tag, Outcome::NotSent, reason, 0, endText(Outcome::NotSent, reason, what), 0,
                             clock.wallNow(), clock.now()});
    m_link.mailbox().put(events);
}

WriteId PlcWrites::write(Tag tag, const Value &value, const WriteOptions &options, End end)
{
    const WriteId id = newWrite(end);
    const QString problem = problemOf(options);
    if (!m_link.mailbox().hasTag(tag))
        endUnsent(id, tag, Reason::InvalidValue, QStringLiteral("there is no such tag"));
    else if (!problem.isEmpty())
        endUnsent(id, tag, Reason::InvalidValue, problem);
    else if (!m_link.post([=](Engine &engine) { engine.write({id, tag, value, options}); }))
        endUnsent(id, tag, Reason::Stopped);
    return id;
}

WriteId PlcWrites::writeText(Tag tag, const QString &typed, const WriteOptions &options, End end)
{
    QString problem = QStringLiteral("there is no such tag");
    const std::optional<EngineTag> known = m_link.engineTagOf(tag);
    std::optional<Value> value;
    if (known)
        value = valueFromText(known->place, typed, known->scale, known->offset, problem);
    if (value)
        return write(tag, *value, options, end);
    const WriteId id = newWrite(end);
    endUnsent(id, tag, Reason::InvalidValue, problem);
    return id;
}

std::optional<WriteResult> PlcWrites::waitForWrite(WriteId id, Duration longest)
{
    const std::optional<Event> event = m_link.mailbox().await(id, std::min(longest, longestWrite));
    const WriteResult *result = event ? std::get_if<WriteResult>(&*event) : nullptr;
    return result == nullptr ? std::nullopt : std::optional(*result);
}

WriteId PlcWrites::pulse(Tag relay, Duration length, End end)
{
    const WriteId id = newWrite(end);
    QString problem;
    if (!isButton(relay, problem))
        endUnsent(id, relay, Reason::InvalidValue, problem);
    else if (length < shortestPulse || length > longestPulse)
        endUnsent(id, relay, Reason::InvalidValue, QStringLiteral("a pulse lasts between 10 ms and 60 s"));
    else if (!m_link.post([=](Engine &engine) { engine.pulse(id, relay, length); }))
        endUnsent(id, relay, Reason::Stopped);
    return id;
}

bool PlcWrites::cancel(WriteId id)
{
    bool cancelled = false;
    m_link.call([&](Engine &engine) { cancelled = engine.cancel(id); });
    return cancelled;
}

int PlcWrites::cancelAll()
{
    int cancelled = 0;
    m_link.call([&](Engine &engine) { cancelled = engine.cancelAll(); });
    return cancelled;
}

QStringList PlcWrites::framesOfWrite(Tag tag, const QString &typed, QString &problem)
{
    const std::optional<EngineTag> known = m_link.engineTagOf(tag);
    problem = QStringLiteral("there is no such tag");
    const auto value =
        known ? valueFromText(known->place, typed, known->scale, known->offset, problem) : std::nullopt;
    const LinkSettings &settings = m_link.settings();
    const Coding coding{settings.wordOrder, settings.textEncoding};
    const auto pieces =
        value ? encode(known->place, *value, coding, known->scale, known->offset, settings.maxBlock, problem)
              : std::nullopt;
    QStringList frames;
    if (!pieces)
        return frames;
    m_link.call([&](const Engine &engine) { // the driver is the engine's
        problem.clear();
        if (engine.link().state != LinkState::Stopped)
            problem = QStringLiteral("frames are shown before the link is started");
        for (const WriteUnits &piece : problem.isEmpty() ? *pieces : std::vector<WriteUnits>())
            frames += framesOf(m_link.driver(), piece);
    });
    return frames;
}

// --- push buttons --------------------------------------------------------------------------------

bool PlcWrites::isButton(Tag relay, QString &problem) const
{
    const std::optional<EngineTag> known = m_link.engineTagOf(relay);
    problem.clear();
    if (!known)
        problem = QStringLiteral("there is no such tag");
    else if (!isOneBit(known->place))
        problem = QStringLiteral("%1 is not a single relay or bit").arg(known->place.name());
    else if (known->readOnly || !known->place.device->writable)
        problem = QStringLiteral("%1 is read-only").arg(known->place.name());
    return problem.isEmpty();
}

void PlcWrites::press(WriteId id, Tag relay)
{
    if (!m_link.post([=](Engine &engine) { engine.press(id, relay); }))
        endUnsent(id, relay, Reason::Stopped);
}

void PlcWrites::renew(WriteId press)
{
    m_link.post([press](Engine &engine) { engine.renew(press); });
}

void PlcWrites::release(WriteId press)
{
    m_link.post([press](Engine &engine) { engine.release(press); });
}

} // namespace kvlink
