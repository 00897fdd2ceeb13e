// SPDX-License-Identifier: MIT
// The promises. Each compares what the engine said with the PLC's diary and with the frames on the
// wire, never the engine with itself.
#include "engine/simulation.h"

#include <algorithm>
#include <sstream>

namespace kvlink
{

namespace
{

constexpr int stalePeriods = 3;

template <typename T>
std::string joined(const char *what, const T &number)
{
    std::ostringstream out;
    out << what << ' ' << number;
    return out.str();
}

} // namespace

void Simulation::check(const Events &events)
{
    ++m_steps;
    checkFrames();
    checkEnds(events);
    checkSamples(events);
    checkTags(events);
    checkSocket();
    checkDriver();
    if (m_bench.spins())
        broken("busy: the engine wants to be called again while no time passes");
    for (const ReadId id : events.reads) {
        if (m_openReads.erase(id) == 0)
            broken(joined("one-end: a read ended that was not open:", id));
    }
    for (const QueryResult &query : events.queries) {
        if (m_openQueries.erase(query.id) == 0)
            broken(joined("one-end: a query ended that was not open:", query.id));
    }
}

// --- writes --------------------------------------------------------------------------------------

// Of a word or double word: by its value, which no other write has. Null for relays.
Simulation::Handed *Simulation::writeOf(const QByteArray &frame)
{
    const QList<QByteArray> words = frame.trimmed().split(' ');
    quint32 value = 0;
    for (int i = 3; i < int(words.size()); ++i)
        value = std::max(value, words[i].toUInt()); // of two words one is 0
    const auto found = m_idOfValue.find(value);
    return found == m_idOfValue.end() ? nullptr : &m_writes.at(found->second);
}

void Simulation::checkFrames()
{
    const std::vector<QByteArray> &frames = m_bench.wire.frames();
    while (m_sentAt.size() < frames.size()) {
        const QByteArray &frame = frames[m_sentAt.size()];
        m_sentAt.push_back(m_bench.clock.now());
        for (const char byte : frame)
            m_digest = (m_digest ^ quint64(quint8(byte))) * 1099511628211ULL;
        if (frame.startsWith("ST "))
            checkPress(frame.trimmed());
        if (!frame.startsWith("WRS "))
            continue;
        const Handed *write = writeOf(frame);
        if (write == nullptr)
            broken("a write frame that nobody asked for: " + frame.trimmed().toStdString());
        else if (write->result)
            broken("after-end: sent after its end: " + frame.trimmed().toStdString());
        else if (m_bench.clock.now() >= write->expiresAt)
            broken("expired: sent too late: " + frame.trimmed().toStdString());
    }
}

// The 1 of a stroke leaves once, whatever becomes of its answer: none more than there are strokes
// that have not ended as not sent.
void Simulation::checkPress(const QByteArray &frame)
{
    if (++m_presses[frame] > m_strokes[frame])
        broken("press-once: sent again: " + frame.toStdString());
}

QByteArray Simulation::pressFrame(quint32 relay) const
{
    return "ST " + m_tags.at(relay).place.name().toLatin1();
}

int Simulation::timesCarriedOut(const Handed &write) const
{
    int times = 0;
    for (const ModelPlc::Change &change : m_bench.plc.history(write.device, write.unit))
        times += change.value == write.value ? 1 : 0;
    return times;
}

void Simulation::checkEnds(const Events &events)
{
    for (const WriteResult &result : events.writes) {
        const auto write = m_writes.find(result.id);
        if (write == m_writes.end()) {
            broken(joined("one-end: a write ended that nobody handed out:", result.id));
            continue;
        }
        if (write->second.result)
            broken(joined("one-end: ended twice: write", result.id));
        write->second.result = result;
        m_digest = (m_digest ^ quint64(result.outcome) ^ result.id << 8) * 1099511628211ULL;
        checkEnd(write->second);
    }
}

void Simulation::checkEnd(const Handed &write)
{
    if (write.isStroke) {
        m_strokes[pressFrame(write.tag)] -= write.result->outcome == Outcome::NotSent ? 1 : 0;
        return;
    }
    const int times = timesCarriedOut(write);
    const Outcome outcome = write.result->outcome;
    const std::string which =
        joined(": write", write.result->id) + " of " + m_tags[write.tag].place.name().toStdString();
    if (outcome == Outcome::Done && times == 0)
        broken("done-is-there: not in the PLC" + which);
    if ((outcome == Outcome::NotSent || outcome == Outcome::Refused) && times != 0)
        broken("not-sent-is-absent: in the PLC" + which);
    if (write.attempts == 1 && times > 1)
        broken("once: carried out twice" + which);
    if (times > write.attempts)
        broken("attempts: carried out too often" + which);
    if (outcome == Outcome::NotSent && write.result->attempts != 0)
        broken("not-sent with attempts" + which);
}

// --- values --------------------------------------------------------------------------------------

std::optional<Value> Simulation::valueInPlc(const EngineTag &tag, SteadyTime at) const
{
    const Place &place = tag.place;
    UnitBlock block{place.readArea(), place.firstUnit(), place.unitCount(), {}, {}, {}, {}};
    const auto add = [&](QByteArray &to, const std::string &device, int unit, int bytes) {
        const quint32 value = m_bench.plc.valueAt(device, unit, at);
        for (int i = 0; i < bytes; ++i)
            to.append(char(value >> (8 * i)));
    };
    const bool isTimer = place.device->field != Field::Whole;
    for (int unit = block.firstUnit; unit < block.firstUnit + block.unitCount; ++unit) {
        if (isTimer) {
            add(block.contact, "T", unit, 1);
            add(block.current, "TC", unit, 4);
            add(block.set, "TS", unit, 4);
        } else {
            add(block.whole, place.device->name, unit, place.element == Element::DoubleWord ? 4 : 2);
        }
    }
    const QByteArray raw = rawOf(place, block);
    return decode(place, raw.constData(), {m_options.settings.wordOrder, TextEncoding::Utf8}, tag.scale,
                  tag.offset);
}

void Simulation::checkSamples(const Events &events)
{
    for (const Events::Change &change : events.changes) {
        m_digest =
            (m_digest ^ quint64(change.sample.quality) ^ quint64(change.tag.id()) << 8) * 1099511628211ULL;
        const auto tag = m_tags.find(change.tag.id());
        if (tag == m_tags.end())
            continue; // removed in this turn, told by the same step
        if (change.sample.isGood())
            checkGood(tag->second, change.sample);
    }
}

void Simulation::checkGood(const EngineTag &tag, const Sample &sample)
{
    // The request whose answer was complete at the sample's time is the last one that was
    // sent before it.
    SteadyTime sent = m_began;
    for (auto at = m_sentAt.rbegin(); at != m_sentAt.rend() && sent == m_began; ++at) {
        if (*at < sample.steadyTime)
            sent = *at;
    }
    const auto *list = std::get_if<std::vector<Scalar>>(&sample.value);
    const bool isLarge = tag.place.unitCount() > m_options.settings.maxBlock && list != nullptr;
    bool good = isLarge || wasHeld(tag, sample.value, sent, sample.steadyTime);
    // A tag that is larger than a request: each value for itself, at some time until
    // all were there.
    EngineTag one = tag;
    one.place.elements = tag.place.elementsPerValue();
    one.place.values = 1;
    for (std::size_t i = 0; isLarge && i < list->size(); ++i) {
        one.place.number = tag.place.number + int(i) * one.place.elements;
        const Value value = std::visit([](const auto &scalar) { return Value(scalar); }, (*list)[i]);
        good = good && wasHeld(one, value, sent, m_bench.clock.now());
    }
    if (!good)
        broken("good-was-true: the PLC never held " + sample.toText().toStdString() + " in " +
               tag.place.name().toStdString());
}

// All its units at once, at one moment of the span.
bool Simulation::wasHeld(const EngineTag &tag, const Value &value, SteadyTime from, SteadyTime to) const
{
    const Place &place = tag.place;
    const bool isTimer = place.device->field != Field::Whole;
    for (const char *device : {isTimer ? "T" : place.device->name, "TC", "TS"}) {
        for (const SteadyTime moment :
             m_bench.plc.moments(device, place.firstUnit(), place.unitCount(), from, to)) {
            if (valueInPlc(tag, moment) == value)
                return true;
        }
    }
    return false;
}

// All tags at every step would be most of the work. Qualities change with events, which name
// their tags, or with the link; ages with time, and it is known when the next tag is too old. Now
// and then all of them, in case an event is missing.
void Simulation::checkTags(const Events &events)
{
    constexpr quint64 allEvery = 64;
    const bool isReady = m_bench.engine.link().isReady();
    if (isReady != m_wasReady || !events.links.empty() || m_bench.clock.now() > m_agesBy ||
        m_steps % allEvery == 0)
        checkAllTags();
    m_wasReady = isReady;
    for (const Events::Change &change : events.changes) {
        if (const auto tag = m_tags.find(change.tag.id()); tag != m_tags.end())
            checkTag(tag->first, tag->second);
    }
}

void Simulation::checkAllTags()
{
    m_agesBy = SteadyTime::max();
    for (const auto &[id, tag] : m_tags)
        checkTag(id, tag);
}

void Simulation::checkTag(quint32 id, const EngineTag &tag)
{
    const SteadyTime now = m_bench.clock.now();
    const Sample sample = m_bench.engine.sample(Tag(id));
    const bool isReady = m_bench.engine.link().isReady();
    if (!isReady && sample.quality != Quality::Bad && sample.quality != Quality::Never)
        broken("lost-is-bad: " + tag.place.name().toStdString() + " is " +
               qualityName(sample.quality).toStdString());
    if (!sample.isGood() || tag.period <= Duration(0))
        return;
    const SteadyTime since = std::max(sample.steadyTime, m_periodSince[id]);
    m_agesBy = std::min(m_agesBy, since + stalePeriods * tag.period);
    if (now - since > stalePeriods * tag.period)
        broken("stale: good for too long: " + tag.place.name().toStdString() + joined(", tag", id) +
               joined(", period ms", tag.period.count() / 1000) +
               joined(", age ms", (now - since).count() / 1000));
}

// A late answer must never be taken for that of the next request. On a socket nothing tells the
// two apart, so it is closed as soon as the time for an answer is over.
void Simulation::checkSocket()
{
    const ModelWire &wire = m_bench.wire;
    if (wire.isSerial() || !wire.owesAnswer())
        return;
    if (m_bench.clock.now() >= wire.lastSent() + m_options.settings.timeout)
        broken("fresh-socket: still open, and an answer is overdue on it");
}

void Simulation::checkDriver()
{
    if (!m_bench.driver->ended())
        return;
    if (!m_driver->readList.isEmpty() || !m_driver->writeList.isEmpty() ||
        !m_driver->onceReadList.isEmpty() || !m_driver->frameQueue.isEmpty())
        broken("empty: the driver still holds a request");
}

// --- rest ----------------------------------------------------------------------------------------

void Simulation::checkRest()
{
    std::set<quint32> relays;
    for (const auto &[id, write] : m_writes) {
        if (!write.result) {
            broken(joined("rest: a write never ended:", id));
            return;
        }
        if (write.isStroke)
            relays.insert(write.tag);
        else
            checkEnd(write);
    }
    for (const quint32 relay : relays)
        checkStrokes(relay);
    if (!m_openReads.empty() || !m_openQueries.empty())
        broken("rest: a read or a query never ended");
    if (!m_bench.engine.link().isReady()) {
        broken("rest: the link did not come back");
        return;
    }
    checkPasses();
}

void Simulation::checkStrokes(quint32 relay)
{
    const Place &place = m_tags[relay].place;
    const QByteArray frame = pressFrame(relay);
    if (m_presses[frame] > m_strokes[frame])
        broken("press-once: sent, and ended as not sent: " + frame.toStdString());
    const auto endedAs = [&](Outcome outcome) {
        return std::count_if(m_writes.begin(), m_writes.end(), [&](const auto &one) {
            const Handed &write = one.second;
            return write.isStroke && write.tag == relay && write.result->outcome == outcome;
        });
    };
    const auto &diary = m_bench.plc.diary();
    const auto pressed = std::count_if(diary.begin(), diary.end(), [&](const ModelPlc::Entry &entry) {
        return entry.command == frame && entry.answer == "OK\r\n";
    });
    const auto done = endedAs(Outcome::Done);
    const auto perhaps = endedAs(Outcome::Unknown);
    if (pressed < done || pressed > done + perhaps)
        broken("pulse-at-most-once: " + frame.toStdString() + joined(" carried out", pressed));
    const bool isOn = m_bench.plc.value(place.device->name, place.number / 16) >> place.number % 16 & 1U;
    const bool lossWasTold = perhaps > 0;
    if (isOn && !lossWasTold)
        broken("release-follows: still on: " + frame.toStdString());
}

// Over a while without faults: every tag is asked when it is due, or its pass is counted as missed.
void Simulation::checkPasses()
{
    const auto before = m_bench.engine.statistics().periods;
    const Duration watchedFor = std::max<Duration>(6s, 3 * m_options.pace.periods.back());
    m_bench.run(watchedFor);
    const auto after = m_bench.engine.statistics().periods;
    for (int i = 0; i < int(after.size()); ++i) {
        const auto counted = (after[i].passes - before[i].passes) + (after[i].missed - before[i].missed);
        const auto due = quint64(watchedFor / after[i].asked);
        if (counted + 1 < due || counted > due + 1)
            broken(joined("every-pass: due", due) + joined(", counted", counted));
    }
    for (const auto &[id, tag] : m_tags) {
        const bool isMissing = tag.place.device->name == std::string("FM") && tag.place.number > 100;
        const Sample sample = m_bench.engine.sample(Tag(id));
        // With a copy of the period: clang 14 lets no lambda capture a structured binding.
        const auto period = std::find_if(
            after.begin(), after.end(), [asked = tag.period](const auto &row) { return row.asked == asked; });
        if (tag.period == Duration(0) || period->missed > before[int(period - after.begin())].missed)
            continue;
        const bool isOdd = sample.reason == Reason::NotRepresentable; // floats and texts of random words
        if (!isOdd && sample.quality != (isMissing ? Quality::Bad : Quality::Good))
            broken("rest: " + tag.place.name().toStdString() + " is " +
                   qualityName(sample.quality).toStdString() + ' ' + sample.reasonText().toStdString());
        // A pass may be made at any time of its period: early in one, late in the next.
        const Duration oldest = std::max<Duration>(2 * tag.period, tag.period + 1s);
        if (sample.isGood() && m_bench.clock.now() - sample.steadyTime > oldest)
            broken("rest: old: " + tag.place.name().toStdString());
        if (sample.isGood() && !m_options.program)
            checkGood(tag, sample);
    }
}

} // namespace kvlink
