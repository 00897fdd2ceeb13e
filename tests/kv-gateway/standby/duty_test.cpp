// SPDX-License-Identifier: MIT
// Who is on duty: row by row, and two gateways with every fault at every moment.
#include "standby/duty_keeper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;
using kvlink::Duration;
using kvlink::SteadyTime;

constexpr SteadyTime atMs(int ms)
{
    return SteadyTime(std::chrono::milliseconds(ms));
}

const char *nameOf(DutyState state)
{
    switch (state) {
    case DutyState::Unreachable:
        return "unreachable";
    case DutyState::StandsBy:
        return "stands by";
    case DutyState::TakesOver:
        return "takes over";
    case DutyState::OnDuty:
        return "on duty";
    case DutyState::Leaves:
        return "leaves";
    }
    return "";
}

const char *nameOf(Duty::Order order)
{
    switch (order) {
    case Duty::Order::None:
        return "-";
    case Duty::Order::Begin:
        return "begin";
    case Duty::Order::Leave:
        return "leave";
    }
    return "";
}

// Grace 2.75 s, last 2.5 s. What happened, then what follows.
TEST(Duty, rowByRow)
{
    const struct {
        int asked, answered; // ms
        const char *event, *order, *state;
        int end; // ms; -1: none
    } rows[] = {
        {0, 10, "lost", "-", "unreachable", -1},
        {100, 110, "taken", "-", "stands by", -1},
        {200, 210, "held", "-", "takes over", -1},
        {2959, 2960, "held", "-", "takes over", -1}, // 2.749 s after it was got
        {2960, 3200, "held", "begin", "on duty", 5460},
        {3210, 3220, "held", "-", "on duty", 5710}, // counted from the question
        {3460, 4210, "lost", "leave", "leaves", 5710},
        {4300, 4301, "held", "-", "leaves", 5710}, // not again before all has ended
        {4300, 4301, "lost", "-", "leaves", 5710},
        {4400, 4400, "left", "-", "unreachable", -1},
        {4500, 4510, "held", "-", "takes over", -1}, // and the whole grace again
        {5000, 5010, "lost", "-", "unreachable", -1},
        {6000, 6010, "held", "-", "takes over", -1},
        {6200, 6210, "taken", "-", "stands by", -1},
        {7000, 7010, "held", "-", "takes over", -1},
        {9760, 9770, "held", "begin", "on duty", 12260},
        {10'000, 10'010, "taken", "leave", "leaves", 12260},
        {10'500, 10'500, "left", "-", "unreachable", -1},
        {10'600, 10'600, "left", "-", "unreachable", -1},
    };
    Duty duty{DutyTiming()};
    for (const auto &row : rows) {
        const std::string event = row.event;
        Duty::Order order = Duty::Order::None;
        if (event == "held")
            order = duty.held(atMs(row.asked), atMs(row.answered));
        else if (event == "taken")
            order = duty.taken();
        else if (event == "lost")
            order = duty.lost();
        else
            duty.left();
        EXPECT_STREQ(nameOf(order), row.order) << row.asked;
        EXPECT_STREQ(nameOf(duty.state()), row.state) << row.asked;
        const auto end = duty.end();
        EXPECT_EQ(end ? int(end->time_since_epoch() / 1ms) : -1, row.end) << row.asked;
    }
}

TEST(Duty, saysToPeopleWhereToGo)
{
    EXPECT_EQ(DutyStatus().text(), "");
    EXPECT_EQ((DutyStatus{DutyState::StandsBy, "kv-gateway on gw1 (10.0.0.7)", {}}.text()),
              "this gateway stands by for kv-gateway on gw1 (10.0.0.7), which reads and writes the PLCs: ask "
              "there");
    EXPECT_EQ((DutyStatus{DutyState::Unreachable, {}, "Connection refused"}.text()),
              "this gateway stands by and reads no PLC: the database that says which gateway is on duty does "
              "not answer: Connection refused");
}

// The times hold each other: all that two gateways rely on.
TEST(Duty, oneHasStoppedBeforeTheOtherBeginsAndThatWithinFiveSeconds)
{
    const DutyTiming timing;
    constexpr Duration stopOfLinks = 600ms;
    EXPECT_LT(timing.last, timing.grace);
    EXPECT_LT(timing.every + timing.answer + stopOfLinks, timing.last) << "nobody is killed who can stop";
    EXPECT_LT(timing.every + timing.answer, timing.session) << "a slow answer ends no session";
    EXPECT_LT(timing.session + timing.every + timing.answer + timing.grace, 5s);
}

class TurnedClock : public MachineClock
{
public:
    SteadyTime steady() const override { return now; }
    SteadyTime now = atMs(0);
};

// A database that ends silent sessions, and gives the lock to whoever asks when it is free.
class FakeDatabase
{
public:
    explicit FakeDatabase(TurnedClock &clock) : m_clock(clock) {}

    LockAnswer ask(int session, Duration answerTime)
    {
        endSilentOnes();
        if (isDown) {
            m_clock.now += answerTime;
            return LockAnswer::Lost;
        }
        if (m_ended == session) { // known there, and here from now on
            m_ended = 0;
            return LockAnswer::Lost;
        }
        m_clock.now += answerTime / 2;
        if (holder == 0)
            holder = session;
        if (holder == session)
            m_heard = m_clock.now;
        m_clock.now += answerTime / 2;
        return holder == session ? LockAnswer::Held : LockAnswer::Taken;
    }
    void endSilentOnes()
    {
        if (holder != 0 && m_clock.now - m_heard >= DutyTiming().session)
            endSession();
    }
    // By an engineer, a restart, or since it was silent.
    void endSession()
    {
        if (holder != 0)
            m_ended = std::exchange(holder, 0);
    }
    void forget(int session)
    {
        if (holder == session)
            holder = 0;
        if (m_ended == session)
            m_ended = 0;
    }

    int holder = 0;
    bool isDown = false;

private:
    TurnedClock &m_clock;
    SteadyTime m_heard{};
    int m_ended = 0; // the session of one who does not know it yet
};

class FakeLock : public DutyLock
{
public:
    FakeLock(FakeDatabase &database, int session, const bool &isCut)
        : m_database(database), m_session(session), m_isCut(isCut)
    {
    }
    LockAnswer ask(QString &text) override
    {
        text = QStringLiteral("session %1").arg(m_database.holder);
        return m_isCut ? LockAnswer::Lost : m_database.ask(m_session, 4ms);
    }
    void close() override { m_database.forget(m_session); }
    void interrupt() override {}

private:
    FakeDatabase &m_database;
    const int m_session;
    const bool &m_isCut;
};

class FakeFuse : public DutyFuse
{
public:
    void arm(SteadyTime when) override { at = when; }
    void disarm() override { at.reset(); }
    std::optional<SteadyTime> at;
};

// A gateway whose links need 0.6 s to stop.
class FakeGateway
{
public:
    FakeGateway(FakeDatabase &database, TurnedClock &clock, int session)
        : m_clock(clock),
          m_keeper(std::make_unique<FakeLock>(database, session, isCut), clock, m_fuse,
                   DutySinks{[this] { works = true; }, [this] { m_stopsAt = m_clock.now + 600ms; },
                             [this](const DutyStatus &status) { told.push_back(status.state); }})
    {
    }
    void step()
    {
        if (m_fuse.at && m_clock.now >= *m_fuse.at) // the kernel does that to a stopped process too
            kill();
        if (isFrozen || isDead)
            return;
        if (m_stopsAt && m_clock.now >= *m_stopsAt) {
            m_stopsAt.reset();
            works = false;
            m_keeper.left();
        }
        if (m_clock.now < m_nextTurn)
            return;
        const Duration pause = m_keeper.turn();
        m_nextTurn = m_clock.now + pause;
    }
    void kill()
    {
        isDead = true;
        works = false;
    }

    bool works = false;
    bool isFrozen = false, isDead = false, isCut = false;
    std::vector<DutyState> told;

private:
    TurnedClock &m_clock;
    FakeFuse m_fuse;
    SteadyTime m_nextTurn{};
    std::optional<SteadyTime> m_stopsAt;
    DutyKeeper m_keeper; // the last one: it uses the others
};

struct Fault {
    const char *name;
    void (*begin)(FakeDatabase &database, FakeGateway &first);
};

// clang-format off
const Fault faults[] = {
    {"killed", [](FakeDatabase &database, FakeGateway &first) { first.kill(); database.forget(1); }},
    {"frozen", [](FakeDatabase & /*database*/, FakeGateway &first) { first.isFrozen = true; }},
    {"frozenAndItsSessionEnded", [](FakeDatabase &database, FakeGateway &first) {
         first.isFrozen = true;
         database.endSession();
     }},
    {"sessionEnded", [](FakeDatabase &database, FakeGateway & /*first*/) { database.endSession(); }},
    {"lineCut", [](FakeDatabase & /*database*/, FakeGateway &first) { first.isCut = true; }},
    {"lineCutAndItsSessionEnded", [](FakeDatabase &database, FakeGateway &first) {
         first.isCut = true;
         database.endSession();
     }},
};
// clang-format on

class TwoGateways : public testing::TestWithParam<Fault>
{
};

// At every moment between two questions, and thawed some time afterwards.
TEST_P(TwoGateways, neverWorkAtOnceAndOneOfThemWithinFiveSeconds)
{
    for (int faultAt = 4000; faultAt < 5000; faultAt += 25) {
        TurnedClock clock;
        FakeDatabase database(clock);
        FakeGateway first(database, clock, 1), second(database, clock, 2);
        bool isBroken = false;
        std::optional<SteadyTime> served; // after the fault
        while (clock.now < atMs(20'000)) {
            clock.now += 5ms;
            if (!isBroken && clock.now >= atMs(faultAt)) {
                ASSERT_TRUE(first.works && !second.works);
                GetParam().begin(database, first);
                isBroken = true;
            }
            if (clock.now >= atMs(faultAt + 7000))
                first.isFrozen = false;
            first.step();
            second.step();
            database.endSilentOnes();
            ASSERT_FALSE(first.works && second.works)
                << faultAt << " ms, now " << clock.now.time_since_epoch() / 1ms;
            if (isBroken && !served && second.works)
                served = clock.now;
        }
        ASSERT_TRUE(served) << faultAt;
        EXPECT_LT(*served - atMs(faultAt), 5s) << faultAt;
        EXPECT_TRUE(second.works) << "and goes on";
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, TwoGateways, testing::ValuesIn(faults),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(TwoGatewaysOfADatabase, noneWorksWhileItIsAway)
{
    TurnedClock clock;
    FakeDatabase database(clock);
    FakeGateway first(database, clock, 1), second(database, clock, 2);
    const auto runUntil = [&](int ms) {
        while (clock.now < atMs(ms)) {
            clock.now += 5ms;
            first.step();
            second.step();
            ASSERT_FALSE(first.works && second.works);
        }
    };
    runUntil(5000);
    EXPECT_TRUE(first.works);
    EXPECT_EQ(second.told, std::vector{DutyState::StandsBy});
    database.isDown = true;
    database.endSession();
    runUntil(9000);
    EXPECT_FALSE(first.works || second.works);
    EXPECT_FALSE(first.isDead) << "its links had time to stop";
    EXPECT_EQ(second.told.back(), DutyState::Unreachable);
    database.isDown = false;
    runUntil(15'000);
    EXPECT_TRUE(first.works || second.works);
}

} // namespace
} // namespace kvgateway
