// SPDX-License-Identifier: MIT
// An engine on a model PLC: a private copy of the real driver between them, and time that
// moves by hand.
#pragma once

#include "driver/loaded_driver.h"
#include "engine/engine.h"
#include "engine/model_wire.h"

#include <gtest/gtest.h>

#include <memory>

namespace kvlink
{

/// "DM100.D", every half second, unless said otherwise.
EngineTag engineTag(quint32 id, const QString &address, Duration period = 500ms);

class Bench
{
public:
    explicit Bench(const LinkSettings &settings = {}, double secondsPerByte = 0.0);

    /// Steps the engine at each moment at which something happens, for so long.
    void run(Duration time);
    /// The same until it is so, at most for so long.
    bool runUntil(const std::function<bool()> &isSo, Duration longest = 60s);
    bool runUntilReady()
    {
        return runUntil([this] { return engine.link().isReady(); });
    }
    /// One step, now.
    void step();
    /// The engine wants to be called again and again while no time passes: on a machine that is a
    /// busy wait. Fails the test.
    bool spins() const { return m_stepsAtOnce > mostStepsAtOnce; }

    void add(std::initializer_list<EngineTag> tags) { engine.addTags(std::vector<EngineTag>(tags)); }
    /// Hands out a write with the next id.
    WriteId write(quint32 tag, const Value &value, const WriteOptions &options = {});
    /// How the write ended; fails the test if it has not, or more than once.
    WriteResult result(WriteId id) const;
    bool hasEnded(WriteId id) const;
    Sample sample(quint32 tag) const { return engine.sample(Tag(tag)); }
    /// "good 5", "bad 5 (no link)", "never".
    std::string text(quint32 tag) const;

    FakeClock clock;
    ModelPlc plc;
    ModelWire wire;
    std::unique_ptr<LoadedDriver> driver;
    Engine engine;
    Events events; ///< all since the beginning
    SteadyTime deadline{};
    std::function<void(const Events &)> afterStep; ///< with what the step brought
    bool keepsEvents = true;                       ///< a long run looks at them step by step
    WriteId lastId = 0;

private:
    static constexpr int mostStepsAtOnce = 1000;

    void keep(const Events &fresh);

    SteadyTime m_lastStep{};
    int m_stepsAtOnce = 0;
};

} // namespace kvlink
