// SPDX-License-Identifier: MIT
// The real program on a disk that fills up: it says so everywhere, and reads and writes on.
#include "gateway_process.h"

#include <QDir>

#include <sys/mount.h>

namespace kvgateway
{
namespace
{

class DiskTest : public GatewayTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir(folder.path()).mkdir("data"));
        isThere = ::mount("tmpfs", disk().constData(), "tmpfs", 0, "size=2m") == 0;
        if (!isThere)
            GTEST_SKIP() << "only root may mount a small disk";
        writeConfig();
    }
    void TearDown() override
    {
        if (isThere)
            ::umount2(disk().constData(), MNT_DETACH);
    }
    QByteArray disk() const { return path("data").toLocal8Bit(); }
    void fill() const
    {
        QFile ballast(path("data/ballast"));
        ASSERT_TRUE(ballast.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        const QByteArray page(4096, 'x');
        while (ballast.write(page) == page.size()) {
        }
    }
    // Changes of a tag with history, until the gateway answers so.
    bool changesUntil(int readyStatus)
    {
        return until([&] {
            EXPECT_TRUE(reads(++value));
            return get("/readyz").status == readyStatus;
        });
    }
    bool reads(int wanted)
    {
        sim.control("set DM100=" + QByteArray::number(wanted));
        return until([&] {
            const QJsonObject sample = json(get("/api/v1/values/a.speed"));
            return sample["value"] == wanted && sample["quality"] == "good";
        });
    }

    bool isThere = false;
    int value = 0;
};

TEST_F(DiskTest, aFullDiskIsSaidEverywhereAndStopsNothingElse)
{
    ASSERT_TRUE(startAndRead());
    ASSERT_TRUE(until([this] { return get("/readyz").status == 200; }));
    fill();
    ASSERT_TRUE(changesUntil(503));

    EXPECT_TRUE(says("history stopped: ")) << log.toStdString();
    EXPECT_TRUE(says("audit and events wait: ")) << log.toStdString();
    EXPECT_TRUE(get("/readyz").body.contains("database or disk is full"));
    EXPECT_TRUE(get("/metrics").body.contains("\nkvgateway_history_up 0\n"));
    EXPECT_EQ(get("/healthz").status, 200);
    EXPECT_TRUE(reads(++value));
    const Answer written = post("/api/v1/writes", R"({"tag":"a.speed","value":1234,"correlation":"full"})");
    EXPECT_EQ(written.status, 200) << "its record waits in memory";
    EXPECT_EQ(sim.control("get DM100"), "01234");
    EXPECT_EQ(get("/api/v1/history.csv?tags=a.speed").status, 200) << "what was kept can be read";

    ASSERT_TRUE(QFile::remove(path("data/ballast")));
    EXPECT_TRUE(changesUntil(200));
    EXPECT_TRUE(says("history goes on"));
    EXPECT_TRUE(get("/metrics").body.contains("\nkvgateway_history_up 1\n"));
    EXPECT_TRUE(until([this] { return get("/api/v1/audit?correlation=full").body.contains("\"done\""); }));
    EXPECT_TRUE(until([this] {
        const QByteArray events = get("/api/v1/events").body;
        return events.contains("history stopped") && events.contains("audit and events are written again");
    }));
    EXPECT_LT(stop(), patienceMs);
}

TEST_F(DiskTest, itStartsAgainOnADiskThatIsFullMeanwhile)
{
    ASSERT_TRUE(startAndRead());
    stop();
    fill();
    ASSERT_TRUE(startAndRead());
    EXPECT_EQ(get("/readyz").status, 503);
    EXPECT_TRUE(says("history stopped: ")) << log.toStdString();
    EXPECT_TRUE(reads(5));
    EXPECT_LT(stop(), patienceMs);
}

} // namespace
} // namespace kvgateway
