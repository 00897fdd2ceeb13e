// SPDX-License-Identifier: MIT
// Switching stations off and on, so that an absent PLC is skipped instead of timing out each time.
//
// Runs: on any thread; firstReachable inside the scheduler, with listMutex held. Therefore nothing
//       here may ever take listMutex.
#include "exchange/stations.h"

#include "base/held_lock.h"

#include <algorithm>
#include <iterator>

void EnableEthernet(int station, int flag)
{
    const Held stations(PLC_driver.stationMutex, Rank::Stations);
    if (station < 0)
        PLC_driver.stationMap.clear();
    else if (flag == kvStationOff)
        PLC_driver.stationMap.insert(station, 0);
    else if (flag == kvStationOn)
        PLC_driver.stationMap.remove(station);
}

void EnCommStation(int station, int flag)
{
    EnableEthernet(station, flag);
}

int Ethernetcontains(int station)
{
    const Held stations(PLC_driver.stationMutex, Rank::Stations);
    return PLC_driver.stationMap.contains(station) ? 1 : 0;
}

int firstReachable(const QList<RW_VAR> &list)
{
    const Held stations(PLC_driver.stationMutex, Rank::Stations);
    const auto reachable = std::find_if(list.begin(), list.end(), [](const RW_VAR &entry) {
        return !PLC_driver.stationMap.contains(entry.station);
    });
    return int(std::distance(list.begin(), reachable));
}
