// SPDX-License-Identifier: MIT
// Where the driver is looked for.
#include "driver/driver_places.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

const std::string qtFolder = "communication_protocol/qt" + std::to_string(QT_VERSION_MAJOR) + "/";
const std::string name = "libCommunication_Protocol.so";

TEST(DriverPlaces, areBesideAProgramAndNextToIt)
{
    const QStringList places = driverPlacesOf({QStringLiteral("/opt/plant/bin")});
    ASSERT_GE(places.size(), 4);
    EXPECT_EQ(places.at(0).toStdString(), "/opt/plant/bin/" + qtFolder + name);
    EXPECT_EQ(places.at(1).toStdString(), "/opt/plant/bin/" + name);
    EXPECT_EQ(places.at(2).toStdString(), "/opt/plant/lib/" + qtFolder + name);
    EXPECT_EQ(places.at(3).toStdString(), "/opt/plant/lib/" + name);
}

TEST(DriverPlaces, areNamedOnce)
{
    QStringList places = driverPlacesOf({QStringLiteral("/usr/bin"), QStringLiteral("/usr/lib")});
    const auto all = places.size();
    EXPECT_EQ(places.removeDuplicates(), 0) << all;
}

TEST(DriverPlaces, ofThisProgramHoldItsOwnFolder)
{
    qunsetenv("KV_DRIVER");
    EXPECT_TRUE(
        standardDriverPlaces().contains(QStringLiteral(KV_TEST_FOLDER "/libCommunication_Protocol.so")))
        << standardDriverPlaces().join(' ').toStdString();
}

TEST(DriverPlaces, areOnlyTheOneOfTheEnvironmentIfItIsSet)
{
    qputenv("KV_DRIVER", "/srv/driver.so");
    EXPECT_EQ(standardDriverPlaces(), QStringList{QStringLiteral("/srv/driver.so")});
    qunsetenv("KV_DRIVER");
}

TEST(FindDriver, takesTheFirstThatExists)
{
    QString problem;
    EXPECT_EQ(findDriver({}, {QStringLiteral("/nowhere/driver.so"), QStringLiteral(KV_DRIVER_PATH)}, problem)
                  .toStdString(),
              KV_DRIVER_PATH);
}

TEST(FindDriver, takesNoOtherThanTheWantedOne)
{
    QString problem;
    EXPECT_EQ(findDriver(QStringLiteral("/nowhere/driver.so"), {QStringLiteral(KV_DRIVER_PATH)}, problem),
              "");
    EXPECT_EQ(problem.toStdString(), "the driver library /nowhere/driver.so does not exist; check the path");
}

TEST(FindDriver, saysWhereItLooked)
{
    QString problem;
    EXPECT_EQ(findDriver({}, {QStringLiteral("/nowhere/a.so"), QStringLiteral("/nowhere/b.so")}, problem),
              "");
    EXPECT_EQ(problem.toStdString(), "no driver library was found; looked for /nowhere/a.so, /nowhere/b.so. "
                                     "Give its path in the settings of "
                                     "the link or in the environment variable KV_DRIVER");
}

} // namespace
} // namespace kvlink
