// SPDX-License-Identifier: MIT
// Switching stations off and on: one operation under two names.
#include "driver_test.h"
#include "rows.h"

#include <limits>

namespace
{
using SwitchCall = void (*)(int station, int flag);

struct NameRow {
    const char *name;
    SwitchCall call;

    friend std::ostream &operator<<(std::ostream &out, const NameRow &row) { return out << row.name; }
};

class StationSwitch : public DriverTest, public testing::WithParamInterface<NameRow>
{
protected:
    static void switchStation(int station, int flag) { GetParam().call(station, flag); }

    // The switched-off stations with their map values: "3:0 7:0".
    static std::string switchedOff()
    {
        std::string text;
        for (const int station : PLC_driver.stationMap.keys())
            text += (text.empty() ? "" : " ") + std::to_string(station) + ":" +
                    std::to_string(PLC_driver.stationMap.value(station));
        return text;
    }
};

TEST_P(StationSwitch, everyStationIsOnAtFirst)
{
    for (const int station : {-1, 0, 1, 255, std::numeric_limits<int>::max()})
        EXPECT_EQ(Ethernetcontains(station), 0) << station;
}

TEST_P(StationSwitch, flag0SwitchesOneStationOff)
{
    switchStation(3, 0);
    EXPECT_EQ(Ethernetcontains(3), 1);
    EXPECT_EQ(Ethernetcontains(2), 0);
    EXPECT_EQ(Ethernetcontains(4), 0);
    EXPECT_EQ(switchedOff(), "3:0");
}

TEST_P(StationSwitch, flag1SwitchesOneStationOn)
{
    switchStation(3, 0);
    switchStation(7, 0);
    switchStation(3, 1);
    EXPECT_EQ(Ethernetcontains(3), 0);
    EXPECT_EQ(Ethernetcontains(7), 1);
    EXPECT_EQ(switchedOff(), "7:0");
}

TEST_P(StationSwitch, switchedOffTwiceAndOnOnceIsOn)
{
    switchStation(3, 0);
    switchStation(3, 0);
    EXPECT_EQ(switchedOff(), "3:0");
    switchStation(3, 1);
    EXPECT_EQ(switchedOff(), "");
}

TEST_P(StationSwitch, switchingOnAStationThatIsOnChangesNothing)
{
    switchStation(7, 0);
    switchStation(3, 1);
    EXPECT_EQ(switchedOff(), "7:0");
}

TEST_P(StationSwitch, station0IsAStationLikeAnyOther)
{
    switchStation(0, 0);
    switchStation(7, 0);
    EXPECT_EQ(switchedOff(), "0:0 7:0");
    switchStation(0, 1);
    EXPECT_EQ(switchedOff(), "7:0");
}

TEST_P(StationSwitch, aNegativeStationSwitchesAllOnWhateverTheFlag)
{
    for (const int station : {-1, -2, std::numeric_limits<int>::min()}) {
        for (const int flag : {0, 1, 2, -1}) {
            switchStation(3, 0);
            switchStation(7, 0);
            switchStation(station, flag);
            EXPECT_EQ(switchedOff(), "") << "station " << station << ", flag " << flag;
        }
    }
}

TEST_P(StationSwitch, otherFlagsChangeNothing)
{
    switchStation(3, 0);
    for (const int flag : {2, -1, 256, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        switchStation(3, flag);
        switchStation(7, flag);
        EXPECT_EQ(switchedOff(), "3:0") << "flag " << flag;
    }
}

TEST_P(StationSwitch, theOtherNameWorksOnTheSameStations)
{
    EnableEthernet(3, 0);
    EnCommStation(7, 0);
    EXPECT_EQ(switchedOff(), "3:0 7:0");
    switchStation(3, 1);
    switchStation(7, 1);
    EXPECT_EQ(switchedOff(), "");
}

TEST_P(StationSwitch, askingDoesNotSwitchAnything)
{
    EXPECT_EQ(Ethernetcontains(5), 0);
    EXPECT_EQ(switchedOff(), "");
}

TEST_P(StationSwitch, linkAndFramesOfTheStationStayAsTheyAre)
{
    link(3);
    PLC_driver.frameQueue.append(Protocol());
    PLC_driver.frameQueue.first().var.station = 3;
    switchStation(3, 0);
    EXPECT_TRUE(handshake.value(3));
    EXPECT_EQ(PLC_driver.frameQueue.size(), 1);
}

INSTANTIATE_TEST_SUITE_P(Names, StationSwitch,
                         testing::Values(NameRow{"EnableEthernet", EnableEthernet},
                                         NameRow{"EnCommStation", EnCommStation}),
                         nameOfRow<NameRow>);
} // namespace
