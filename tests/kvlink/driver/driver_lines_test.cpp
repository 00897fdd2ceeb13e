// SPDX-License-Identifier: MIT
// The driver's debug lines stay out of the host's messages; everything else gets through.
#include "driver/driver_lines.h"

#include "driver/loaded_driver.h"

#include <gtest/gtest.h>
#include <QLoggingCategory>

#include <mutex>
#include <thread>

namespace kvlink
{
namespace
{

std::mutex mutex;
std::vector<std::string> lines;

// The host's handler, installed before the first link is made.
void record(QtMsgType /*type*/, const QMessageLogContext &context, const QString &line)
{
    const std::lock_guard lock(mutex);
    lines.push_back(std::string(context.category) + ": " + line.toStdString());
}

const QtMessageHandler before = qInstallMessageHandler(record);

class DriverLines : public testing::Test
{
protected:
    DriverLines() { takeLines(); }

    static std::vector<std::string> takeLines()
    {
        const std::lock_guard lock(mutex);
        return std::exchange(lines, {});
    }

    // A request that nobody answers: the driver wants its handshake next time, and says so.
    static void failTwice()
    {
        QString problem;
        const auto driver = LoadedDriver::load(QStringLiteral(KV_DRIVER_PATH), problem);
        ASSERT_NE(driver, nullptr) << problem.toStdString();
        for (int i = 0; i < 2; ++i) {
            driver->beginRead(AREA_DM, 0, 1);
            driver->answer({});
        }
    }
};

using Lines = std::vector<std::string>;

TEST_F(DriverLines, areNotTheHosts)
{
    failTwice();
    EXPECT_EQ(takeLines(), Lines());
}

TEST_F(DriverLines, comeUnderTheirCategoryIfItIsAskedFor)
{
    QLoggingCategory::setFilterRules(QStringLiteral("kvlink.driver.debug=true"));
    failTwice();
    QLoggingCategory::setFilterRules({});
    const Lines seen = takeLines();
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back(), "kvlink.driver: Handshake(RW_Var)");
}

TEST_F(DriverLines, ofTheHostGetThrough)
{
    failTwice();
    qDebug("host");
    EXPECT_EQ(takeLines(), Lines{"default: host"});
}

TEST_F(DriverLines, ofOtherThreadsGetThroughMeanwhile)
{
    const DriverCall call;
    std::thread([] { qDebug("other thread"); }).join();
    EXPECT_EQ(takeLines(), Lines{"default: other thread"});
}

TEST_F(DriverLines, thatAreWarningsGetThrough)
{
    const DriverCall call;
    qWarning("take care");
    EXPECT_EQ(takeLines(), Lines{"default: take care"});
}

} // namespace
} // namespace kvlink
