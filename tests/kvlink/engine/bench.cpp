// SPDX-License-Identifier: MIT
#include "engine/bench.h"

#include <algorithm>
#include <iterator>

namespace kvlink
{

namespace
{

std::unique_ptr<LoadedDriver> loadDriver()
{
    QString problem;
    std::unique_ptr<LoadedDriver> driver = LoadedDriver::load(QStringLiteral(KV_DRIVER_PATH), problem);
    if (driver == nullptr)
        qFatal("%s", qPrintable(problem));
    return driver;
}

template <typename T>
void append(std::vector<T> &to, const std::vector<T> &from)
{
    to.insert(to.end(), from.begin(), from.end());
}

ModelWire &withSpeed(ModelWire &wire, double secondsPerByte)
{
    wire.perByte = secondsPerByte;
    return wire;
}

} // namespace

EngineTag engineTag(quint32 id, const QString &address, Duration period)
{
    QString problem;
    const std::optional<Place> place = parsePlace(address, problem);
    EXPECT_TRUE(place) << qPrintable(problem);
    EngineTag tag;
    tag.tag = Tag(id);
    tag.place = place.value_or(Place());
    tag.period = period;
    return tag;
}

Bench::Bench(const LinkSettings &settings, double secondsPerByte)
    : wire(clock, plc), driver(loadDriver()),
      engine(clock, withSpeed(wire, secondsPerByte), *driver, settings, 1)
{
}

void Bench::step()
{
    m_stepsAtOnce = clock.now() == m_lastStep ? m_stepsAtOnce + 1 : 0;
    m_lastStep = clock.now();
    if (m_stepsAtOnce == mostStepsAtOnce + 1)
        ADD_FAILURE() << "the engine is called again and again while no time passes";
    Events fresh;
    deadline = engine.step(fresh);
    if (keepsEvents)
        keep(fresh);
    if (afterStep)
        afterStep(fresh);
}

void Bench::keep(const Events &fresh)
{
    append(events.changes, fresh.changes);
    append(events.writes, fresh.writes);
    append(events.links, fresh.links);
    append(events.reads, fresh.reads);
    append(events.queries, fresh.queries);
}

void Bench::run(Duration time)
{
    const SteadyTime end = clock.now() + time;
    step();
    while (std::min(deadline, wire.nextEvent()) <= end && !spins()) {
        clock.advanceTo(std::min(deadline, wire.nextEvent()));
        step();
    }
    clock.advanceTo(end);
    step();
}

bool Bench::runUntil(const std::function<bool()> &isSo, Duration longest)
{
    const SteadyTime end = clock.now() + longest;
    step();
    while (!isSo()) {
        const SteadyTime next = std::min(deadline, wire.nextEvent());
        if (next > end || spins())
            return false;
        clock.advanceTo(next);
        step();
    }
    return true;
}

WriteId Bench::write(quint32 tag, const Value &value, const WriteOptions &options)
{
    engine.write({++lastId, Tag(tag), value, options});
    return lastId;
}

bool Bench::hasEnded(WriteId id) const
{
    return std::any_of(events.writes.begin(), events.writes.end(),
                       [id](const WriteResult &result) { return result.id == id; });
}

WriteResult Bench::result(WriteId id) const
{
    std::vector<WriteResult> found;
    std::copy_if(events.writes.begin(), events.writes.end(), std::back_inserter(found),
                 [id](const WriteResult &result) { return result.id == id; });
    EXPECT_EQ(found.size(), 1U) << "write " << id;
    return found.empty() ? WriteResult() : found.front();
}

std::string Bench::text(quint32 tag) const
{
    const Sample sample = engine.sample(Tag(tag));
    QString text = qualityName(sample.quality);
    if (sample.hasValue())
        text += QLatin1Char(' ') + sample.toText();
    if (sample.quality == Quality::Bad)
        text += QStringLiteral(" (%1)").arg(sample.reasonText());
    return text.toStdString();
}

} // namespace kvlink
