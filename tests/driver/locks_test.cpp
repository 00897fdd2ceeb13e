// SPDX-License-Identifier: MIT
// Which call waits for which mutex. A call that is said to take a mutex must wait while another
// thread holds it, and every other call must come through.
#include "driver_test.h"

#include <chrono>
#include <future>

namespace
{
constexpr std::chrono::milliseconds momentToBeBlocked{20};
constexpr std::chrono::seconds longEnough{10};

struct CallRow {
    const char *name;
    const char *takes; // letters of the mutexes: L lists, S store, N station, G growing of an image
    void (*prepare)();
    void (*call)();

    friend std::ostream &operator<<(std::ostream &out, const CallRow &row) { return out << row.name; }
};

struct MutexRow {
    const char *name;
    char letter;
    QMutex Communication_Protocol::*mutex;

    friend std::ostream &operator<<(std::ostream &out, const MutexRow &row) { return out << row.name; }
};

// What the rows do before and during their calls; the station 1 is linked.
class Locks : public DriverTest, public testing::WithParamInterface<std::tuple<CallRow, MutexRow>>
{
public:
    static void nothing() {}

    static void writeWaits() { PLC_driver.writeList.append(write(AREA_DM, 0, 1, "07 00")); }
    static void bitWriteWaits() { PLC_driver.writeList.append(write(AREA_DM_BIT, 3, 1, "01")); }
    static void readWaits() { PLC_driver.readList.append(variable(AREA_DM, 0, 1)); }
    static void remoteWriteWaits()
    {
        PLC_driver.comInfo->remoteMode = 1;
        writeWaits();
    }
    static void writeWaitsAfterAFailure()
    {
        PLC_driver.lastFailed = 1;
        writeWaits();
    }
    static void lastFailed() { PLC_driver.lastFailed = 1; }
    static void localMode() { PLC_driver.comInfo->commMode = 1; }

    static void readInFlight()
    {
        readWaits();
        send();
    }
    static void readInFlightForALongerImage()
    {
        DataStorage[1][10] = QByteArray(1, '\0');
        readInFlight();
    }
    static void remoteReadInFlight()
    {
        handshake.clear();
        PLC_driver.comInfo->localLinkId = 4;
        PLC_driver.comInfo->remoteMode = 1;
        readInFlight();
    }
    static void bitWriteInFlight()
    {
        bitWriteWaits();
        send();
    }
    static void remotePreReadInFlight()
    {
        bitWriteInFlight();
        for (Protocol &frame : PLC_driver.frameQueue)
            frame.var.linkId = 4;
    }
    static void imageOfOneByte() { DataStorage[1][10] = QByteArray(1, '\0'); }
    static void imageOfEnough() { DataStorage[1][10] = QByteArray(100, '\0'); }

    static void next() { ComCommunication(); }
    static void takeData() { answer("00007\r\n"); }
    static void takeNothing() { noAnswer(); }
    static void checkLocal()
    {
        QByteArray reply("00007\r\n");
        DealDataOfLocalArea(&reply, int(reply.size()));
    }
    static void checkRemote()
    {
        QByteArray reply("00007\r\n");
        DealDataOfRemoteArea(&reply, int(reply.size()));
    }
    static void addRead()
    {
        RW_VAR var = variable(AREA_DM, 0, 1);
        AddListReadVar(&var);
    }
    template <int mode>
    static void addWrite()
    {
        RW_VAR var = write(AREA_DM, 0, 1, "07 00");
        AddListWriteVar(&var, mode);
    }
    template <int mode>
    static void addOnceRead()
    {
        RW_VAR var = variable(AREA_DM, 0, 1);
        var.addressText = QStringLiteral("0");
        AddListOnceReadVar(&var, mode);
    }
    static void set()
    {
        SetRegisterData(QString(), AREA_DM, QStringLiteral("0"), 1, QByteArray(2, 'x'), 1, 5, 50);
    }
    static void get()
    {
        QByteArray out;
        GetRegisterData(0, AREA_DM, QStringLiteral("0"), 1, &out, 1);
    }
    static void getNoAddress()
    {
        QByteArray out;
        GetRegisterData(0, AREA_DM, QStringLiteral("-1"), 1, &out, 1);
    }
    static void rebuild()
    {
        QList<HOSTVAR> empty;
        ReCreatReadVarList(&empty);
    }
    static void ensureRange()
    {
        ControlInformationM range{1, AREA_DM, 0, 5};
        checkTheStorage(range);
    }
    static void mirror()
    {
        RW_VAR var = write(AREA_DM, 0, 1, "07 00");
        WriteDataToLocal(&var);
    }
    static void decode()
    {
        QByteArray reply("00007\r\n");
        SaveToLocalDataErea(&reply);
    }
    static void setUpAgain()
    {
        SetComInfo(PLC_driver.comInfo);
        RegistCallBackFuncIntf(PLC_driver.notifyCallback, PLC_driver.errorCallback);
        FlashLocalRegister(nullptr, nullptr, nullptr);
        QueryFinishFlag();
        PLCAddressChangeIntef(AREA_DM, QStringLiteral("5"));
    }

protected:
    Locks() { link(1); }
};

TEST_P(Locks, areTakenWhereTheyAreSaidToBe)
{
    const CallRow &row = std::get<0>(GetParam());
    const MutexRow &held = std::get<1>(GetParam());
    const bool takes = std::string(row.takes).find(held.letter) != std::string::npos;
    row.prepare();
    takeLines();

    QMutex &mutex = PLC_driver.*held.mutex;
    mutex.lock();
    std::future<void> call = std::async(std::launch::async, row.call);
    if (takes)
        EXPECT_EQ(call.wait_for(momentToBeBlocked), std::future_status::timeout) << "it did not wait";
    else
        EXPECT_EQ(call.wait_for(longEnough), std::future_status::ready) << "it waited";
    mutex.unlock();

    ASSERT_EQ(call.wait_for(longEnough), std::future_status::ready);
    EXPECT_TRUE(mutex.tryLock()) << "it kept the mutex";
    mutex.unlock();
    takeLines();
    takeCallbacks();
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Calls, Locks, testing::Combine(testing::Values(
    CallRow{"setUpCalls",                 "",    Locks::nothing, Locks::setUpAgain},
    CallRow{"ComCommunication_idle",      "L",   Locks::nothing, Locks::next},
    CallRow{"ComCommunication_inFlight",  "",    Locks::readInFlight, Locks::next},
    CallRow{"ComCommunication_read",      "LN",  Locks::readWaits, Locks::next},
    CallRow{"ComCommunication_write",     "LNS", Locks::writeWaits, Locks::next},
    CallRow{"ComCommunication_bitWrite",  "LNS", Locks::bitWriteWaits, Locks::next},
    CallRow{"ComCommunication_remoteWrite", "LNS", Locks::remoteWriteWaits, Locks::next},
    CallRow{"ComCommunication_writeAfterAFailure", "LN", Locks::writeWaitsAfterAFailure, Locks::next},
    CallRow{"DataCom_read",               "LS",  Locks::readInFlight, Locks::takeData},
    CallRow{"DataCom_readGrowsAnImage",   "LSG", Locks::readInFlightForALongerImage, Locks::takeData},
    CallRow{"DataCom_firstFrameOfTwo",    "LS",  Locks::bitWriteInFlight, Locks::takeData},
    CallRow{"DataCom_remoteRead",         "L",   Locks::remoteReadInFlight, Locks::takeData},
    CallRow{"DataCom_remotePreRead",      "L",   Locks::remotePreReadInFlight, Locks::takeData},
    CallRow{"DataCom_noReply",            "L",   Locks::readInFlight, Locks::takeNothing},
    CallRow{"DealDataOfLocalArea_read",   "S",   Locks::readInFlight, Locks::checkLocal},
    CallRow{"DealDataOfLocalArea_preRead", "LS", Locks::bitWriteInFlight, Locks::checkLocal},
    CallRow{"DealDataOfRemoteArea_read",  "",    Locks::remoteReadInFlight, Locks::checkRemote},
    CallRow{"DealDataOfRemoteArea_preRead", "L", Locks::remotePreReadInFlight, Locks::checkRemote},
    CallRow{"AddListReadVar",             "",    Locks::nothing, Locks::addRead},
    CallRow{"AddListWriteVar",            "L",   Locks::nothing, Locks::addWrite<0>},
    CallRow{"AddListWriteVar_unchanged",  "L",   Locks::nothing, Locks::addWrite<1>},
    CallRow{"AddListOnceReadVar",         "L",   Locks::nothing, Locks::addOnceRead<0>},
    CallRow{"AddListOnceReadVar_unchanged", "L", Locks::nothing, Locks::addOnceRead<1>},
    CallRow{"SetRegisterData",            "L",   Locks::nothing, Locks::set},
    CallRow{"SetRegisterData_afterAFailure", "LS", Locks::lastFailed, Locks::set},
    CallRow{"SetRegisterData_localOnly",  "S",   Locks::localMode, Locks::set},
    CallRow{"ReCreatReadVarList",         "L",   Locks::nothing, Locks::rebuild},
    CallRow{"GetRegisterData_newImage",   "S",   Locks::nothing, Locks::get},
    CallRow{"GetRegisterData_growsImage", "SG",  Locks::imageOfOneByte, Locks::get},
    CallRow{"GetRegisterData_noAddress",  "",    Locks::nothing, Locks::getNoAddress},
    CallRow{"checkTheStorage_newImage",   "",    Locks::nothing, Locks::ensureRange},
    CallRow{"checkTheStorage_growsImage", "G",   Locks::imageOfOneByte, Locks::ensureRange},
    CallRow{"checkTheStorage_largeEnough", "",   Locks::imageOfEnough, Locks::ensureRange},
    CallRow{"WriteDataToLocal",           "S",   Locks::imageOfOneByte, Locks::mirror},
    CallRow{"SaveToLocalDataErea",        "",    Locks::readInFlight, Locks::decode},
    CallRow{"Ethernetcontains",           "N",   Locks::nothing, [] { Ethernetcontains(1); }},
    CallRow{"EnableEthernet_off",         "N",   Locks::nothing, [] { EnableEthernet(1, 0); }},
    CallRow{"EnCommStation_on",           "N",   Locks::nothing, [] { EnCommStation(1, 1); }},
    CallRow{"EnCommStation_allOn",        "N",   Locks::nothing, [] { EnCommStation(-1, 1); }}),
    testing::Values(
    MutexRow{"listMutex",           'L', &Communication_Protocol::listMutex},
    MutexRow{"storeMutex",          'S', &Communication_Protocol::storeMutex},
    MutexRow{"stationMutex",        'N', &Communication_Protocol::stationMutex},
    MutexRow{"storageControlMutex", 'G', &Communication_Protocol::storageControlMutex})),
    [](const auto &row) {
        return std::string(std::get<0>(row.param).name) + "_while_" + std::get<1>(row.param).name;
    });
// clang-format on
} // namespace
