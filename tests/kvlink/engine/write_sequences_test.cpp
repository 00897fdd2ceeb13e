// SPDX-License-Identifier: MIT
// Every sequence of up to six events round one write: whatever happens in whatever order, it ends once, and what is said of
// it is true.
#include "engine/bench.h"

namespace kvlink
{
namespace
{

enum class What { Time, Cut, LoseAnswer, LoseRequest, Cancel, Restart };
constexpr What all[] = {What::Time,        What::Cut,    What::LoseAnswer,
                        What::LoseRequest, What::Cancel, What::Restart};

struct Kind {
    const char *name;
    WriteOptions options;
    bool command;
    const char *address;
    int longest; ///< sequence
};

class Round
{
public:
    explicit Round(const Kind &kind) : m_kind(kind)
    {
        LinkSettings settings;
        settings.timeout = 100ms;
        m_bench = std::make_unique<Bench>(settings);
        EngineTag tag = engineTag(1, QLatin1String(kind.address), Duration(0));
        tag.command = kind.command;
        m_bench->add({tag});
        m_bench->engine.start();
        m_bench->runUntilReady();
        m_expires = m_bench->clock.now() + kind.options.expires;
        m_id = m_bench->write(1, qint64(1), kind.options);
        m_bench->afterStep = [this](const Events &) { watch(); };
    }

    void happen(What what)
    {
        switch (what) {
        case What::Time:
            m_bench->run(70ms);
            break;
        case What::Cut:
            m_bench->wire.cut();
            m_bench->step();
            break;
        case What::LoseAnswer:
            m_bench->wire.faults.push_back({.losesAnswer = true});
            m_bench->run(1500us);
            break;
        case What::LoseRequest:
            m_bench->wire.faults.push_back({.losesRequest = true});
            m_bench->run(500us);
            break;
        case What::Cancel:
            m_bench->engine.cancel(m_id);
            break;
        case What::Restart:
            m_bench->plc.restart();
            break;
        }
    }

    /// Empty if all is as promised.
    std::string rest()
    {
        m_bench->wire.faults.clear();
        m_bench->run(8s);
        int ends = 0;
        for (const WriteResult &result : m_bench->events.writes)
            ends += result.id == m_id ? 1 : 0;
        if (ends != 1)
            return "ended " + std::to_string(ends) + " times";
        const Outcome outcome = m_bench->result(m_id).outcome;
        const bool isWord = m_kind.address[0] == 'D';
        const int times = int(m_bench->plc.history(isWord ? "DM" : "R", isWord ? 100 : 5).size());
        if (outcome == Outcome::Done && times == 0)
            return "done, and not there";
        if ((outcome == Outcome::NotSent || outcome == Outcome::Refused) && times > 0)
            return "there, and said not to be";
        if (times > (m_kind.command ? 1 : m_kind.options.attempts))
            return "there " + std::to_string(times) + " times";
        return m_broken;
    }

private:
    /// No write frame after the end, none after it has expired.
    void watch()
    {
        const std::vector<QByteArray> &frames = m_bench->wire.frames();
        for (; m_seen < frames.size(); ++m_seen) {
            if (!frames[m_seen].startsWith("WRS ") && !frames[m_seen].startsWith("ST "))
                continue;
            if (m_ended)
                m_broken = "sent after its end";
            if (m_bench->clock.now() >= m_expires)
                m_broken = "sent after it had expired";
        }
        m_ended = m_bench->hasEnded(m_id);
    }

    const Kind &m_kind;
    std::unique_ptr<Bench> m_bench;
    SteadyTime m_expires;
    WriteId m_id = 0;
    std::size_t m_seen = 0;
    bool m_ended = false;
    std::string m_broken;
};

class WriteSequences : public ::testing::TestWithParam<Kind>
{
};

TEST_P(WriteSequences, EndOnceAndTruly)
{
    const Kind &kind = GetParam();
    int sequences = 0;
    for (int length = 0; length <= kind.longest; ++length) {
        int count = 1;
        for (int i = 0; i < length; ++i)
            count *= int(std::size(all));
        for (int number = 0; number < count; ++number, ++sequences) {
            Round round(kind);
            std::string way;
            for (int i = 0, rest = number; i < length; ++i, rest /= int(std::size(all))) {
                round.happen(all[rest % int(std::size(all))]);
                way += std::to_string(rest % int(std::size(all)));
            }
            ASSERT_EQ(round.rest(), "") << kind.name << ", events " << way;
        }
    }
    EXPECT_GT(sequences, 1000);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Engine, WriteSequences, ::testing::Values(
    Kind{"value",      {.expires = 300ms, .attempts = 2},                                    false, "DM100",   6},
    Kind{"waits",      {.whenOffline = WhenOffline::Wait, .expires = 5s, .attempts = 3},     false, "DM100",   4},
    Kind{"command",    {.whenOffline = WhenOffline::Wait, .expires = 5s, .attempts = 3},     true,  "R500",    5},
    Kind{"bit of word",{.whenOffline = WhenOffline::Wait, .expires = 5s, .attempts = 2},     false, "DM100.3", 4}),
    [](const auto &one) { return std::string(one.param.name).substr(0, 3); });
// clang-format on

} // namespace
} // namespace kvlink
