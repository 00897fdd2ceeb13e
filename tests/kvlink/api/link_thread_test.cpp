// SPDX-License-Identifier: MIT
// The thread round the engine: commands, sleeping, and stopping whatever the transport does.
#include "api/link_thread.h"
#include "driver/loaded_driver.h"
#include "support/fake_transport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <future>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

using namespace kvlink;

namespace
{
// A transport without a wire that counts how often it is worked, and can have a descriptor that
// is always readable.
class CountedTransport final : public Transport
{
public:
    ~CountedTransport() override
    {
        if (m_noise >= 0)
            ::close(m_noise);
    }
    void makeNoise() { m_noise = ::eventfd(1, EFD_CLOEXEC); }

    void open() override { m_wire.open(); }
    void close() override { m_wire.close(); }
    State state() const override { return m_wire.state(); }
    QString problem() const override { return m_wire.problem(); }
    void send(const QByteArray &bytes) override { m_wire.send(bytes); }
    QByteArray takeReceived() override { return m_wire.takeReceived(); }
    void work() override
    {
        ++works;
        m_wire.work();
    }
    void addDescriptors(std::vector<pollfd> &to) const override
    {
        if (m_noise >= 0)
            to.push_back({m_noise, POLLIN, 0});
    }
    double secondsPerByte() const override { return 0.0; }
    bool isSerial() const override { return false; }

    std::atomic<int> works{0};

private:
    FakeTransport m_wire;
    int m_noise = -1;
};

class LinkThreadTest : public testing::Test
{
protected:
    LinkThreadTest() : driver(LoadedDriver::load(QStringLiteral(KV_DRIVER_PATH), problem))
    {
        settings.url = QStringLiteral("tcp://127.0.0.1");
        engine.emplace(clock, transport, *driver, settings, 1);
        thread.emplace(clock, transport, *engine, [this](Events &events) {
            for (const LinkStatus &status : events.links)
                states.push_back(status.state);
        });
    }

    void start() { ASSERT_TRUE(thread->start(problem)) << problem.toStdString(); }

    QString problem;
    SystemClock clock;
    CountedTransport transport;
    std::unique_ptr<LoadedDriver> driver;
    LinkSettings settings;
    std::optional<Engine> engine;
    std::vector<LinkState> states; // of the link's thread until it is stopped
    std::optional<LinkThread> thread;
};

TEST_F(LinkThreadTest, commandsRunInOrderOnAThreadOfTheirOwn)
{
    std::vector<int> order;
    std::promise<pthread_t> other;
    start();
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(thread->post([&order, i](Engine &) { order.push_back(i); }));
    EXPECT_TRUE(thread->post([&](Engine &) { other.set_value(pthread_self()); }));
    EXPECT_FALSE(pthread_equal(other.get_future().get(), pthread_self()));
    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(LinkThreadTest, aCallComesAfterWhatWasPosted)
{
    start();
    for (int round = 0; round < 1000; ++round) {
        bool posted = false;
        bool seen = false;
        thread->post([&](Engine &) { posted = true; });
        thread->call([&](Engine &) { seen = posted; });
        ASSERT_TRUE(seen);
    }
}

TEST_F(LinkThreadTest, whileStoppedNothingIsPostedButCallsRun)
{
    EXPECT_FALSE(thread->post([](Engine &) { FAIL(); }));
    bool ran = false;
    thread->call([&](Engine &) { ran = true; });
    EXPECT_TRUE(ran);
    EXPECT_EQ(thread->look([](const Engine &one) { return one.link().state; }), LinkState::Stopped);
}

TEST_F(LinkThreadTest, whatWasPostedBeforeTheStopIsCarriedOut)
{
    for (int round = 0; round < 100; ++round) {
        int done = 0;
        start();
        for (int i = 0; i < 10; ++i)
            ASSERT_TRUE(thread->post([&done](Engine &) { ++done; }));
        thread->stop();
        ASSERT_EQ(done, 10);
    }
}

TEST_F(LinkThreadTest, theStopIsReportedBeforeItReturns)
{
    start();
    thread->stop();
    ASSERT_FALSE(states.empty());
    EXPECT_EQ(states.back(), LinkState::Stopped);
}

TEST_F(LinkThreadTest, anIdleLinkSleeps)
{
    start();
    while (transport.works == 0)
        ::sched_yield();
    const int before = transport.works;
    ::usleep(100000); // time passes in which nothing is due: that is what is tested
    EXPECT_LE(transport.works - before, 3);
}

TEST_F(LinkThreadTest, aCommandWakesItUp)
{
    start();
    std::promise<void> ran;
    thread->post([&](Engine &) { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(5s), std::future_status::ready);
}

TEST_F(LinkThreadTest, aDescriptorThatIsAlwaysReadableKeepsNobodyOut)
{
    transport.makeNoise();
    start();
    bool ran = false;
    thread->call([&](Engine &) { ran = true; });
    EXPECT_TRUE(ran);
    const SteadyTime before = clock.now();
    thread->stop();
    EXPECT_LE(clock.now() - before, 500ms);
}

TEST_F(LinkThreadTest, itsStackIsSmall)
{
    start();
    std::promise<std::size_t> size;
    thread->post([&](Engine &) {
        std::size_t bytes = 0;
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getstacksize(&attributes, &bytes);
        pthread_attr_destroy(&attributes);
        size.set_value(bytes);
    });
    const std::size_t bytes = size.get_future().get();
    EXPECT_GE(bytes, 256U * 1024);
    EXPECT_LE(bytes, 1024U * 1024); // the thread sanitizer adds some of its own; 8 MiB is usual
}

TEST_F(LinkThreadTest, signalsOfTheProgramAreNotForIt)
{
    start();
    std::promise<bool> blocked;
    thread->post([&](Engine &) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked.set_value(sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGINT) == 1);
    });
    EXPECT_TRUE(blocked.get_future().get());
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGTERM), 0);
}

TEST_F(LinkThreadTest, manyThreadsMayCallStartAndStopAtTheSameTime)
{
    std::vector<pthread_t> threads(8);
    for (pthread_t &one : threads)
        pthread_create(
            &one, nullptr,
            [](void *given) -> void * {
                auto *link = static_cast<LinkThread *>(given);
                QString why;
                for (int i = 0; i < 50; ++i) {
                    link->start(why);
                    link->post([](Engine &) {});
                    link->call([](Engine &machine) { (void)machine.link(); });
                    link->stop();
                }
                return nullptr;
            },
            &*thread);
    for (const pthread_t one : threads)
        pthread_join(one, nullptr);
}
} // namespace
