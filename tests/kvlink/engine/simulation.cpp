// SPDX-License-Identifier: MIT
// A run: people, faults, and the way to rest. The promises are checked in simulation_rules.cpp.
#include "engine/simulation.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include <dlfcn.h>

namespace kvlink
{

namespace
{

// Tags that the PLC's program changes, and that are only read.
const char *const watched[] = {"DM0",     "DM1",      "DM3.D",   "DM7.D",      "DM8.F", "DM20.L",
                               "DM40:20", "DM60.F:9", "DM0.5",   "DM70.STR:8", "T3",    "TC3",
                               "TS4",     "TC3:3",    "R100",    "R100:20",    "B1F",   "W1A.H",
                               "Z3",      "DM15.S",   "DM127.D", "DM16.D",     "FM99",  "FM100"};
const char *const missing[] = {"FM101", "FM150.D"}; // past the end
constexpr int lastOfFm = 100;

// Tags that are only written: each has words of its own, and each write a value that no other has.
constexpr quint32 firstWritten = 1000;
const char *const written[] = {"DM1000", "DM1002", "DM1004.D", "EM1006", "W500", "DM1010.D", "DM1012"};
constexpr int firstCommand = 5; // from this one on they are marked as commands: sent once only

constexpr quint32 firstRelay = 2000;
const char *const relays[] = {"R1000", "R1001", "MR203"};

constexpr quint32 idOfExtra = 3000; // tags that come and go

// clang-format off
const Pace busy { "busy",  400, {50ms, 100ms, 500ms,   2s}, 60ms,  3s};
const Pace shift{"shift",  150, {  1s,    5s,   20s,  60s},   2s,  5min};
const Pace night{"night",  100, { 60s,  5min, 10min,   1h},  60s,  8h};
// clang-format on
constexpr int shiftPercent = 15;
constexpr int nightPercent = 5; // they take longest

WordOrder otherOrder(bool other)
{
    return other ? WordOrder::HighFirst : WordOrder::LowFirst;
}

} // namespace

SimOptions SimOptions::drawnFrom(quint64 seed)
{
    std::mt19937_64 random(seed);
    const auto chance = [&](int percent) { return int(random() % 100) < percent; };
    const auto oneOf = [&](std::initializer_list<int> values) {
        return values.begin()[random() % values.size()];
    };
    SimOptions options;
    options.seed = seed;
    options.settings.open = chance(75) ? Open::Cr : Open::None;
    options.settings.timeout = Duration(1ms) * oneOf({50, 200, 1000});
    options.settings.maxBlock = oneOf({2, 8, 128, 1000});
    options.settings.gap = Duration(1ms) * oneOf({0, 0, 5});
    options.settings.wordOrder = otherOrder(chance(30));
    options.perByte = chance(25) ? 10.0 / oneOf({9600, 38400, 115200}) : 0.0;
    options.tags = oneOf({2, 6, 12, 24});
    for (bool *kind : {&options.cuts, &options.freezes, &options.doors, &options.restarts, &options.refusals,
                       &options.loses, &options.garbles, &options.strays, &options.slow, &options.closes,
                       &options.program, &options.tagsComeAndGo, &options.stops})
        *kind = chance(40);
    // On a serial line that is not greeted a late answer cannot be told from the next one;
    // sockets are closed.
    if (options.perByte > 0.0 && options.settings.open == Open::None)
        options.slow = false;
    const int pace = int(random() % 100);
    options.pace = pace < nightPercent ? night : busy;
    if (pace >= nightPercent && pace < nightPercent + shiftPercent)
        options.pace = shift;
    return options;
}

std::string SimOptions::text() const
{
    std::ostringstream out;
    out << "seed 0x" << std::hex << seed << std::dec << "  " << pace.name << "  "
        << (perByte > 0.0 ? "serial" : "tcp") << (settings.open == Open::Cr ? " cr" : " plain")
        << "  timeout " << settings.timeout.count() / 1000 << " ms  block " << settings.maxBlock << "  tags "
        << tags << "  faults:";
    const std::pair<bool, const char *> kinds[] = {
        {cuts, "cuts"},         {freezes, "freezes"}, {doors, "doors"},     {restarts, "restarts"},
        {refusals, "refusals"}, {loses, "loses"},     {garbles, "garbles"}, {strays, "strays"},
        {slow, "slow"},         {closes, "closes"},   {program, "program"}, {tagsComeAndGo, "tags"},
        {stops, "stops"}};
    for (const auto &[on, name] : kinds)
        out << (on ? " " : "") << (on ? name : "");
    return out.str();
}

Simulation::Simulation(const SimOptions &options)
    : m_options(options), m_random(options.seed ^ 0x9e3779b97f4a7c15ULL),
      m_bench(options.settings, options.perByte), m_began(m_bench.clock.now())
{
    m_bench.plc.wantsGreeting = options.settings.open == Open::Cr;
    m_bench.plc.lastUnit["FM"] = lastOfFm;
    m_bench.wire.faultOf = [this](const QByteArray &frame) { return faultOf(frame); };
    m_bench.afterStep = [this](const Events &events) { check(events); };
    m_bench.keepsEvents = false;
    m_driver =
        static_cast<const Communication_Protocol *>(::dlsym(m_bench.driver->copy().handle, "PLC_driver"));
    if (std::getenv("KV_SIM_TRACE") != nullptr)
        m_bench.wire.trace = [this](const char *what, const QByteArray &bytes) {
            std::printf("%10.6f %s %s\n", double(simulated().count()) / 1e6, what,
                        bytes.trimmed().constData());
        };
}

void Simulation::broken(const std::string &what)
{
    if (!m_broken.empty())
        return;
    std::ostringstream out;
    out << "t " << double(simulated().count()) / 1e6 << " s  " << what;
    m_broken = out.str();
}

std::string Simulation::run()
{
    addTags();
    m_bench.engine.start();
    const auto upTo = [this](Duration longest) {
        return Duration(1ms) * qint64(1 + draw(quint64(longest / Duration(1ms))));
    };
    for (int turn = 0; turn < m_options.pace.turns && m_broken.empty(); ++turn) {
        act();
        disturb();
        liveProgram();
        m_bench.run(upTo(chance(5) ? m_options.pace.longestRest : m_options.pace.longestTurn));
    }
    if (m_broken.empty())
        heal();
    return m_broken;
}

// --- people --------------------------------------------------------------------------------------

void Simulation::addTag(quint32 id)
{
    const auto &periods = m_options.pace.periods;
    QString address;
    if (id >= idOfExtra || id < firstWritten)
        address =
            QLatin1String(chance(8) ? missing[draw(std::size(missing))] : watched[draw(std::size(watched))]);
    else if (id < firstRelay)
        address = QLatin1String(written[id - firstWritten]);
    else
        address = QLatin1String(relays[id - firstRelay]);
    EngineTag tag = engineTag(id, address, periods[draw(std::size(periods))]);
    tag.command = id >= firstWritten + firstCommand && id < firstRelay;
    m_tags[id] = tag;
    m_periodSince[id] = m_bench.clock.now();
}

void Simulation::addTags()
{
    for (quint32 id = 1; id <= quint32(m_options.tags); ++id)
        addTag(id);
    for (quint32 i = 0; i < std::size(written); ++i)
        addTag(firstWritten + i);
    for (quint32 i = 0; i < std::size(relays); ++i)
        addTag(firstRelay + i);
    std::vector<EngineTag> tags;
    for (const auto &[id, tag] : m_tags)
        tags.push_back(tag);
    m_bench.engine.addTags(tags);
}

void Simulation::act()
{
    if (chance(60))
        actOnWrites();
    if (chance(20))
        actOnTags();
    if (chance(5)) {
        m_openQueries.insert(m_nextId);
        m_bench.engine.query(m_nextId++, chance(50) ? "?K" : "?M");
    }
    if (m_options.stops && chance(8)) {
        m_bench.engine.stop();
        m_bench.run(Duration(1ms) * qint64(chance(50) ? 0 : draw(50)));
        m_bench.engine.start();
    }
}

void Simulation::actOnWrites()
{
    const int what = int(draw(100));
    if (what < 65)
        writeValue();
    else if (what < 85)
        pushButton();
    else if (what < 97 && !m_writes.empty())
        m_bench.engine.cancel(m_writes.rbegin()->first);
    else
        m_bench.engine.cancelAll();
    for (std::size_t i = 0; i < m_pressed.size();) {
        if (chance(40)) {
            m_bench.engine.renew(m_pressed[i++]);
        } else if (chance(40)) {
            m_bench.engine.release(m_pressed[i]);
            m_pressed.erase(m_pressed.begin() + std::ptrdiff_t(i));
        } else {
            ++i; // the screen hangs
        }
    }
}

void Simulation::writeValue()
{
    Handed write;
    write.at = m_bench.clock.now();
    write.tag = firstWritten + quint32(draw(std::size(written)));
    const EngineTag &tag = m_tags[write.tag];
    write.device = tag.place.device->name;
    const bool highFirst = m_options.settings.wordOrder == WordOrder::HighFirst;
    write.unit = tag.place.number + (tag.place.elements == 2 && highFirst ? 1 : 0);
    write.value = m_nextValue++;
    WriteOptions options;
    options.attempts = int(1 + draw(3));
    options.coalesce = chance(30);
    options.whenOffline = chance(50) ? WhenOffline::Wait : WhenOffline::Fail;
    options.expires = Duration(1ms) * qint64(1 + draw(chance(20) ? 50 : 5000));
    write.attempts = tag.command ? 1 : options.attempts;
    write.expiresAt = write.at + options.expires;
    const WriteId id = m_nextId++;
    m_writes[id] = write;
    m_idOfValue[write.value] = id;
    m_bench.engine.write({id, Tag(write.tag), qint64(write.value), options});
}

void Simulation::pushButton()
{
    const bool isPulse = chance(50);
    Handed write;
    write.at = m_bench.clock.now();
    write.tag = firstRelay + quint32(draw(std::size(relays)));
    write.isStroke = true;
    write.attempts = 1;
    const WriteId id = m_nextId++;
    m_writes[id] = write;
    ++m_strokes[pressFrame(write.tag)];
    if (isPulse) {
        m_bench.engine.pulse(id, Tag(write.tag), Duration(1ms) * qint64(10 + draw(300)));
    } else {
        m_bench.engine.press(id, Tag(write.tag));
        m_pressed.push_back(id);
    }
}

void Simulation::actOnTags()
{
    if (chance(50)) {
        std::vector<Tag> asked;
        for (const auto &[id, tag] : m_tags) {
            if (chance(40))
                asked.push_back(Tag(id));
        }
        m_openReads.insert(m_nextId);
        m_bench.engine.readNow(m_nextId++, asked);
    }
    constexpr std::size_t mostTags = 60;
    if (!m_options.tagsComeAndGo || m_tags.size() > mostTags)
        return;
    const quint32 id = idOfExtra + quint32(m_nextId++);
    addTag(id);
    m_bench.engine.addTags({m_tags[id]});
    if (m_bench.wire.trace)
        m_bench.wire.trace("add", (std::to_string(id) + " " + m_tags[id].place.name().toStdString() + " " +
                                   std::to_string(m_tags[id].period.count()))
                                      .c_str());
    const auto one = std::next(m_tags.begin(), std::ptrdiff_t(draw(m_tags.size())));
    if (one->first >= firstWritten && one->first < idOfExtra)
        return;
    if (chance(70)) {
        m_bench.engine.removeTag(Tag(one->first));
        m_tags.erase(one);
    } else {
        one->second.period = chance(50) ? 2 * m_options.pace.periods[1] : Duration(0);
        m_periodSince[one->first] = m_bench.clock.now();
        m_agesBy = {};
        m_bench.engine.setPeriod(Tag(one->first), one->second.period);
    }
}

// --- faults --------------------------------------------------------------------------------------

void Simulation::disturb()
{
    ModelWire &wire = m_bench.wire;
    if (m_options.cuts && chance(3))
        wire.cut();
    if (m_options.freezes && chance(4))
        wire.isFrozen = !wire.isFrozen;
    if (m_options.doors && chance(5)) {
        const ModelWire::Door doors[] = {ModelWire::Door::Open, ModelWire::Door::Refuses,
                                         ModelWire::Door::Swallows};
        wire.door = doors[draw(3)];
        wire.resolving = Duration(1ms) * qint64(draw(chance(10) ? 8000 : 20));
    }
    if (m_options.restarts && chance(3))
        m_bench.plc.restart();
    if (m_options.refusals && chance(5))
        m_bench.plc.refusesWrites = !m_bench.plc.refusesWrites;
    if (m_options.strays && chance(3))
        wire.comes("#!\r\n");
    if (chance(5))
        m_bench.clock.jumpWall(Duration(1s) * (qint64(draw(7200)) - 3600));
}

WireFault Simulation::faultOf(const QByteArray &frame)
{
    WireFault fault;
    if (!m_faulty)
        return fault;
    fault.pieces = chance(30) ? int(1 + draw(4)) : 1;
    fault.losesRequest = m_options.loses && chance(3);
    fault.losesAnswer = m_options.loses && chance(3);
    fault.closes = m_options.closes && chance(2);
    if (m_options.slow && chance(5))
        fault.late = Duration(1ms) * qint64(draw(2000));
    if (m_options.strays && chance(5))
        fault.copies = int(1 + draw(2));
    if (m_options.strays && chance(2))
        fault.after = "#?\r\n";
    // A copy that comes when the next request is out already passes for its answer: nothing in an
    // answer tells whose it is.
    if (fault.copies > 0)
        fault.pieces = 1;
    if (m_options.garbles && chance(3)) {
        const QByteArray bad[] = {"", "0", "#####\r\n", "OK", "\r\n", "000", "E\r\n", "0000x 00001\r\n"};
        fault.instead = bad[draw(std::size(bad))];
    }
    Q_UNUSED(frame)
    return fault;
}

// The program, and a second master: both words of a 32-bit value at once.
void Simulation::liveProgram()
{
    if (!m_options.program)
        return;
    const SteadyTime now = m_bench.clock.now();
    for (int i = 0; i < 4; ++i) {
        const int unit = int(draw(130));
        const quint32 value = quint32(draw(0x10000));
        m_bench.plc.set("DM", unit, chance(30) ? 65535 : value, now);
        m_bench.plc.set("DM", unit + 1, chance(30) ? 0 : value, now);
    }
    const int timer = int(3 + draw(3));
    m_bench.plc.set("T", timer, quint32(draw(2)), now);
    m_bench.plc.set("TC", timer, quint32(m_random()), now);
    m_bench.plc.set("TS", timer, quint32(m_random()), now);
    m_bench.plc.set("R", int(1 + draw(2)), quint32(draw(0x10000)), now);
    m_bench.plc.set("B", 1, quint32(draw(0x10000)), now);
    m_bench.plc.set("Z", 3, quint32(m_random()), now);
    m_bench.plc.set("FM", 99 + int(draw(2)), quint32(draw(0x10000)), now);
}

// --- rest ----------------------------------------------------------------------------------------

void Simulation::heal()
{
    m_faulty = false;
    ModelWire &wire = m_bench.wire;
    wire.isFrozen = false;
    wire.door = ModelWire::Door::Open;
    wire.resolving = {};
    m_bench.plc.refusesWrites = false;
    // Long enough for writes to expire, and for a link that was lost to come back and be read.
    m_bench.run(std::max<Duration>(25s, 2 * m_options.pace.periods.back()));
    // A slow line may have been asked for more than it carries in that time.
    constexpr Duration longestBacklog = 30s;
    if (m_options.perByte > 0.0)
        m_bench.runUntil([this] { return m_openReads.empty() && m_openQueries.empty(); }, longestBacklog);
    if (m_broken.empty())
        checkRest();
}

} // namespace kvlink
