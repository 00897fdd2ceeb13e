// SPDX-License-Identifier: MIT
// Batches, refusals and lost connections, with a database in the test's hands.
#include "outlets/database_outlet.h"

#include "broker.h"
#include "fake_writer.h"

#include <numeric>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

class Events : public OutletEvents
{
public:
    void acknowledged(const std::vector<quint64> &seqs) override { add(m_acknowledged, seqs); }
    void refused(const std::vector<quint64> &seqs, const QString &why) override
    {
        add(m_refused, seqs);
        const std::lock_guard lock(m_mutex);
        m_why = why;
    }
    void changed() override {}

    std::vector<quint64> acknowledged() const { return copy(m_acknowledged); }
    std::vector<quint64> refused() const { return copy(m_refused); }
    std::string why() const { return copy(m_why).toStdString(); }

private:
    void add(std::vector<quint64> &to, const std::vector<quint64> &seqs)
    {
        const std::lock_guard lock(m_mutex);
        to.insert(to.end(), seqs.begin(), seqs.end());
    }
    template <typename T>
    T copy(const T &from) const
    {
        const std::lock_guard lock(m_mutex);
        return from;
    }

    mutable std::mutex m_mutex;
    std::vector<quint64> m_acknowledged, m_refused;
    QString m_why;
};

class DatabaseOutletTest : public testing::Test
{
protected:
    ~DatabaseOutletTest() override { outlet.stop(); }

    bool isReady() const { return outlet.state().isReady(); }
    bool connects() const
    {
        return within(5000, [this] { return isReady(); });
    }
    // Rows whose value is their number.
    static std::vector<OutletRow> rows(qint64 first, qint64 last)
    {
        std::vector<OutletRow> all;
        for (qint64 i = first; i <= last; ++i) {
            OutletRow row{quint64(i), "a.x", {}};
            row.sample.value = i;
            row.sample.quality = kvlink::Quality::Good;
            all.push_back(row);
        }
        return all;
    }
    std::vector<qint64> written() const
    {
        return writer->with([](FakeWriter &all) { return all.written; });
    }
    bool isWritten(std::size_t count) const
    {
        return within(5000, [&] { return written().size() >= count; });
    }

    std::shared_ptr<FakeWriter> writer = std::make_shared<FakeWriter>();
    Events events;
    DatabaseOutlet outlet{writer, {1ms, 5ms, 2ms, 8ms}};
};

TEST_F(DatabaseOutletTest, rowsAreAcknowledgedWhenTheyAreWritten)
{
    outlet.start(events);
    ASSERT_TRUE(connects());
    writer->with([](FakeWriter &all) { all.isHeld = true; });
    EXPECT_EQ(outlet.offer(rows(1, 3), OfferKind::Live), 3U);
    EXPECT_TRUE(events.acknowledged().empty());
    writer->with([](FakeWriter &all) { all.isHeld = false; });
    EXPECT_TRUE(within(5000, [this] { return events.acknowledged() == std::vector<quint64>{1, 2, 3}; }));
    EXPECT_EQ(written(), (std::vector<qint64>{1, 2, 3}));
}

TEST_F(DatabaseOutletTest, theQueueIsBoundedAndStoredRowsLeaveRoomForLiveOnes)
{
    EXPECT_EQ(outlet.offer(rows(1, 1), OfferKind::Live), 0U) << "there is no connection yet";
    outlet.start(events);
    ASSERT_TRUE(connects());
    writer->with([](FakeWriter &all) { all.isHeld = true; });
    EXPECT_EQ(outlet.offer(rows(1, 15'000), OfferKind::Stored), 10'000U);
    EXPECT_EQ(outlet.offer(rows(1, 1), OfferKind::Stored), 0U);
    EXPECT_EQ(outlet.offer(rows(20'001, 40'000), OfferKind::Live), 10'000U);
    EXPECT_EQ(outlet.offer(rows(1, 1), OfferKind::Live), 0U);
    writer->with([](FakeWriter &all) { all.isHeld = false; });
    EXPECT_TRUE(isWritten(20'000));
    const auto batches = writer->with([](FakeWriter &all) { return all.batches; });
    EXPECT_LE(*std::max_element(batches.begin(), batches.end()), 5000U);
}

TEST_F(DatabaseOutletTest, oneRefusedRowHoldsUpNoOther)
{
    writer->refused = {3, 777};
    outlet.start(events);
    ASSERT_TRUE(connects());
    ASSERT_EQ(outlet.offer(rows(1, 1000), OfferKind::Live), 1000U);
    ASSERT_TRUE(isWritten(998));
    std::vector<qint64> expected(1000);
    std::iota(expected.begin(), expected.end(), 1);
    expected.erase(expected.begin() + 776);
    expected.erase(expected.begin() + 2);
    EXPECT_EQ(written(), expected) << "in their order";
    EXPECT_TRUE(within(5000, [this] { return events.refused() == std::vector<quint64>{3, 777}; }));
    EXPECT_EQ(events.why(), "a.x: out of range");
    EXPECT_LT(writer->with([](FakeWriter &all) { return all.batches.size(); }), 100U)
        << "halves find it, not one by one";
}

TEST_F(DatabaseOutletTest, aLostConnectionForgetsTheQueueAndCountsAsANewSession)
{
    outlet.start(events);
    ASSERT_TRUE(connects());
    const quint64 first = outlet.state().session;
    writer->with([](FakeWriter &all) { all.isThere = false; });
    outlet.offer(rows(1, 10), OfferKind::Live);
    ASSERT_TRUE(within(5000, [this] { return !isReady(); }));
    EXPECT_TRUE(within(5000, [this] { return outlet.state().problem == "the database is away"; }));
    writer->with([](FakeWriter &all) { all.isThere = true; });
    ASSERT_TRUE(connects());
    EXPECT_NE(outlet.state().session, first);
    EXPECT_TRUE(events.acknowledged().empty()) << "the feeder offers them again";
    EXPECT_TRUE(outlet.state().problem.isEmpty());
}

TEST_F(DatabaseOutletTest, anIdleConnectionThatEndsIsNoticed)
{
    outlet.start(events);
    ASSERT_TRUE(connects());
    writer->with([](FakeWriter &all) { all.isThere = false; });
    EXPECT_TRUE(within(5000, [this] { return !isReady(); }));
}

TEST_F(DatabaseOutletTest, aDatabaseThatTakesNothingIsNotConnected)
{
    outlet.start(events);
    ASSERT_TRUE(connects());
    writer->with([](FakeWriter &all) { all.isFull = true; });
    outlet.offer(rows(1, 10), OfferKind::Live);
    const auto opens = [this] { return writer->with([](FakeWriter &all) { return all.opens; }); };
    ASSERT_TRUE(within(5000, [this] { return !isReady(); }));
    const int before = opens();
    ASSERT_TRUE(within(5000, [&] { return opens() > before + 3; }));
    EXPECT_FALSE(isReady()) << "it lets us in each time, and that says nothing";
    EXPECT_EQ(outlet.state().problem, "the disk is full");
    writer->with([](FakeWriter &all) { all.isFull = false; });
    EXPECT_TRUE(connects());
}

TEST_F(DatabaseOutletTest, tagsAreToldWithTheConnectionAndWhenTheyChange)
{
    outlet.setTags(std::vector<TagConfig>(2));
    outlet.start(events);
    const auto isTold = [this](std::size_t count) {
        return within(5000, [&] { return writer->with([](FakeWriter &all) { return all.tags; }) == count; });
    };
    EXPECT_TRUE(isTold(2));
    outlet.setTags(std::vector<TagConfig>(3));
    EXPECT_TRUE(isTold(3));
}

TEST_F(DatabaseOutletTest, stopsWhileTheDatabaseIsSilent)
{
    outlet.start(events);
    ASSERT_TRUE(connects());
    writer->with([](FakeWriter &all) { all.isHeld = true; });
    outlet.offer(rows(1, 10), OfferKind::Live);
    QElapsedTimer time;
    time.start();
    outlet.stop();
    EXPECT_LT(time.elapsed(), 1000);
    EXPECT_EQ(writer->with([](FakeWriter &all) { return all.opens - all.closes; }), 0)
        << "its thread is still held";
    EXPECT_TRUE(events.acknowledged().empty());
}

} // namespace
} // namespace kvgateway
