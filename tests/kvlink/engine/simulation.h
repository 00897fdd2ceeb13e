// SPDX-License-Identifier: MIT
// A whole run of the engine, with people, faults and a PLC that lives its own life, drawn
// from one seed.
//
// First faults and work go on together, and after every step the promises are checked against the
// PLC's own diary. Then all faults end, and everything has to come to rest in a bounded time: a
// write that hangs forever breaks no other promise.
#pragma once

#include "engine/bench.h"

#include <Communication_Protocol.h>

#include <array>
#include <map>
#include <optional>
#include <random>
#include <unordered_map>

namespace kvlink
{

/// How fast people and the PLC's program act, and how often tags are read. Busy is where requests
/// meet; Shift and Night are where time adds up: long outages, passes that are rarely due.
struct Pace {
    const char *name;
    int turns;
    std::array<Duration, 4> periods;
    Duration longestTurn, longestRest;
};

/// What a run is made of. Whole kinds of fault are switched off in each run: all at once hide what
/// one brings out.
struct SimOptions {
    quint64 seed = 0;
    Pace pace{};
    LinkSettings settings;
    double perByte = 0.0;
    int tags = 12;
    bool cuts = false, freezes = false, doors = false, restarts = false, refusals = false;
    bool loses = false, garbles = false, strays = false, slow = false, closes = false;
    bool program = false, tagsComeAndGo = false, stops = false;

    static SimOptions drawnFrom(quint64 seed);
    std::string text() const;
};

class Simulation
{
public:
    explicit Simulation(const SimOptions &options);

    /// What is broken, as a sentence with the time; empty if nothing is.
    std::string run();
    /// The same for runs that went the same way.
    quint64 digest() const { return m_digest; }
    quint64 steps() const { return m_steps; }
    quint64 frames() const { return m_sentAt.size(); } ///< that the engine sent
    Duration simulated() const { return m_bench.clock.now() - m_began; }

private:
    struct Handed {
        quint32 tag = 0;
        std::string device;
        int unit = 0;
        quint32 value = 0; ///< unlike all others of this unit
        bool isStroke = false;
        int attempts = 2;
        SteadyTime at{};
        SteadyTime expiresAt{};
        std::optional<WriteResult> result;
    };
    quint64 draw(quint64 below) { return m_random() % below; }
    bool chance(int percent) { return int(draw(100)) < percent; }
    void broken(const std::string &what);

    void addTags();
    void addTag(quint32 id);
    void act();
    void actOnWrites();
    void writeValue();
    void pushButton();
    void actOnTags();
    void disturb();
    void liveProgram();
    WireFault faultOf(const QByteArray &frame);
    void heal();
    void checkRest();

    void check(const Events &events);
    void checkFrames();
    void checkEnds(const Events &events);
    void checkEnd(const Handed &write);
    void checkSamples(const Events &events);
    void checkGood(const EngineTag &tag, const Sample &sample);
    bool wasHeld(const EngineTag &tag, const Value &value, SteadyTime from, SteadyTime to) const;
    void checkTags(const Events &events);
    void checkAllTags();
    void checkTag(quint32 id, const EngineTag &tag);
    void checkSocket();
    void checkDriver();
    void checkPasses();
    void checkPress(const QByteArray &frame);
    QByteArray pressFrame(quint32 relay) const;
    void checkStrokes(quint32 relay);
    int timesCarriedOut(const Handed &write) const;
    Handed *writeOf(const QByteArray &frame);
    std::optional<Value> valueInPlc(const EngineTag &tag, SteadyTime at) const;

    const SimOptions m_options;
    std::mt19937_64 m_random;
    Bench m_bench;
    SteadyTime m_began;
    std::map<quint32, EngineTag> m_tags;
    std::map<quint32, SteadyTime> m_periodSince; ///< when a tag came or got its period
    SteadyTime m_agesBy{};                       ///< no good tag becomes too old before
    bool m_wasReady = false;
    std::map<WriteId, Handed> m_writes;
    std::unordered_map<quint32, WriteId> m_idOfValue;
    std::map<QByteArray, int> m_strokes; ///< by their frame: those that have not ended as not sent
    std::map<QByteArray, int> m_presses; ///< such frames that were sent
    std::vector<WriteId> m_pressed;
    std::set<ReadId> m_openReads;
    std::set<QueryId> m_openQueries;
    std::vector<SteadyTime> m_sentAt; ///< of each frame
    const Communication_Protocol *m_driver = nullptr;
    quint32 m_nextValue = 1;
    quint64 m_nextId = 1;
    bool m_faulty = true;
    quint64 m_digest = 1469598103934665603ULL;
    quint64 m_steps = 0;
    std::string m_broken;
};

} // namespace kvlink
