// Switching stations off and on, so that an absent PLC is passed over instead of timing out again and again.
//
// Runs: on any thread; Ethernetcontains also inside the scheduler, with listMutex held. Therefore nothing
// here
//       may ever take listMutex.
#include "base/held_lock.h"
#include "Communication_Protocol.h"

void EnableEthernet(int station, int flag)
{
    const Held stations(PLC_driver.stationMutex, Rank::Stations);
    if (station < 0)
        PLC_driver.stationMap.clear();
    else if (flag == 0)
        PLC_driver.stationMap.insert(station, 0);
    else if (flag == 1)
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
