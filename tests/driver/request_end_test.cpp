// SPDX-License-Identifier: MIT
// The end of a request: lists, requesters told, entries purged.
#include "in_flight.h"
#include "rows.h"

#include <map>

namespace
{
// --- lists and callbacks at the end of a request -------------------------------------------------

struct Requester {
    int ownerType, ownerId, station;
};

struct EndRow {
    const char *name;
    std::vector<Requester> list; // the first has just been answered
    Lines whenDone;              // callbacks
    Lines whenFailed;
    const char *keptByStation; // after a failure with multiStation 1
    const char *keptAtAll;     // after a failure with multiStation 0

    friend std::ostream &operator<<(std::ostream &out, const EndRow &row) { return out << row.name; }
};

// Writes (opKind 1) and one-shot reads (opKind 2) end in the same way while they are local.
class RequestEnd : public Intake, public testing::WithParamInterface<std::tuple<int, EndRow>>
{
protected:
    void begin(int linkId = 0)
    {
        PLC_driver.opKind = std::get<0>(GetParam());
        for (const Requester &who : row().list) {
            RW_VAR var = write(AREA_DM, 0, 1, "07 00", who.station);
            var.ownerType = who.ownerType;
            var.ownerId = who.ownerId;
            var.linkId = linkId;
            list().append(var);
        }
        for (QList<RW_VAR> *other : {&otherList(), &PLC_driver.readList})
            *other = list();
        add(list().at(0), 4);
        settings.maxRetries = 0;
    }

    static const EndRow &row() { return std::get<1>(GetParam()); }
    static bool isWrite() { return std::get<0>(GetParam()) == 1; }
    static QList<RW_VAR> &list() { return isWrite() ? PLC_driver.writeList : PLC_driver.onceReadList; }
    static QList<RW_VAR> &otherList() { return isWrite() ? PLC_driver.onceReadList : PLC_driver.writeList; }

    // "5/50@1 6/50@2": type, id and station of the entries of a list.
    static std::string requesters(const QList<RW_VAR> &entries)
    {
        std::string text;
        for (const RW_VAR &var : entries)
            text += (text.empty() ? "" : " ") + std::to_string(var.ownerType) + "/" +
                    std::to_string(var.ownerId) + "@" + std::to_string(var.station);
        return text;
    }

    static void expectOtherListsUntouched()
    {
        EXPECT_EQ(otherList().size(), int(row().list.size()));
        EXPECT_EQ(PLC_driver.readList.size(), int(row().list.size()));
    }
};

TEST_P(RequestEnd, doneRemovesTheHeadAndTellsTheRequesterOnce)
{
    begin();
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(takeCallbacks(), row().whenDone);
    EXPECT_EQ(list().size(), int(row().list.size()) - 1);
    EXPECT_EQ(PLC_driver.currentVar.ownerId, row().list[0].ownerId);
    expectOtherListsUntouched();
}

TEST_P(RequestEnd, failedPurgesTheRequesterAtThatStation)
{
    begin();
    EXPECT_EQ(noAnswer(), 41 + row().list[0].ownerType);
    EXPECT_EQ(takeCallbacks(), row().whenFailed);
    EXPECT_EQ(requesters(list()), row().keptByStation);
    expectOtherListsUntouched();
}

TEST_P(RequestEnd, failedPurgesTheRequesterEverywhereWithOneStationOnly)
{
    begin();
    settings.multiStation = 0;
    EXPECT_EQ(noAnswer(), 41 + row().list[0].ownerType);
    EXPECT_EQ(takeCallbacks(), row().whenFailed);
    EXPECT_EQ(requesters(list()), row().keptAtAll);
    expectOtherListsUntouched();
}

// On purpose: a one-shot read of a remote area tells nobody; a write does.
TEST_P(RequestEnd, remoteDone)
{
    begin(elsewhere);
    EXPECT_EQ(answer("OK\r\n"), 100);
    EXPECT_EQ(takeCallbacks(), isWrite() ? row().whenDone : Lines());
    EXPECT_EQ(list().size(), int(row().list.size()) - 1);
}

TEST_P(RequestEnd, remoteFailed)
{
    begin(elsewhere);
    EXPECT_EQ(noAnswer(), 141 + row().list[0].ownerType);
    const Lines told = takeCallbacks();
    EXPECT_EQ(told, isWrite() ? row().whenFailed : Lines{row().whenFailed.back()});
    EXPECT_EQ(requesters(list()), row().keptByStation);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Lists, RequestEnd, testing::Combine(testing::Values(1, 2), testing::Values(
    EndRow{"alone", {{5, 50, 1}},
           {"notify 77 5 50 1"}, {"notify 77 5 50 2", "error 5 1 empty"}, "", ""},
    EndRow{"sameRequesterNext", {{5, 50, 1}, {5, 50, 1}},
           {}, {"notify 77 5 50 2", "error 5 1 empty"}, "", ""},
    EndRow{"sameRequesterLast", {{5, 50, 1}, {6, 60, 1}, {5, 50, 1}},
           {}, {"notify 77 5 50 2", "error 5 1 empty"}, "6/60@1", "6/60@1"},
    EndRow{"sameRequesterElsewhere", {{5, 50, 1}, {5, 50, 2}},
           {}, {"notify 77 5 50 2", "error 5 1 empty"}, "5/50@2", ""},
    EndRow{"otherId", {{5, 50, 1}, {5, 51, 1}},
           {"notify 77 5 50 1"}, {"notify 77 5 50 2", "error 5 1 empty"}, "5/51@1", "5/51@1"},
    EndRow{"otherType", {{5, 50, 1}, {6, 50, 1}},
           {"notify 77 5 50 1"}, {"notify 77 5 50 2", "error 5 1 empty"}, "6/50@1", "6/50@1"},
    EndRow{"many", {{0, 7, 1}, {0, 8, 1}, {0, 7, 1}, {1, 7, 1}, {0, 7, 2}, {0, 7, 1}, {0, 9, 3}},
           {}, {"notify 77 0 7 2", "error 0 1 empty"},
           "0/8@1 1/7@1 0/7@2 0/9@3", "0/8@1 1/7@1 0/9@3"})),
    [](const auto &row) {
        return std::string(std::get<0>(row.param) == 1 ? "write_" : "onceRead_") + std::get<1>(row.param).name;
    });
// clang-format on

class RequestEndAlone : public Intake
{
};

TEST_F(RequestEndAlone, theHostGetsTheEntryOfTheListWithoutItsData)
{
    const std::map<int, QList<RW_VAR> *> lists{{kvWrite, &PLC_driver.writeList},
                                               {kvOnceRead, &PLC_driver.onceReadList},
                                               {kvCyclicRead, &PLC_driver.readList}};
    for (const auto &[opKind, list] : lists) {
        PLC_driver.currentVar = RW_VAR();
        list->append(numbered());
        add(write(AREA_EM, 3, 1, "AA"), 4);
        PLC_driver.opKind = opKind;
        EXPECT_EQ(answer("OK\r\n"), 1);
        EXPECT_EQ(fields(PLC_driver.currentVar), "1 2 3 4 5 1 \"seven\" \"eight\" 9 10 11 12 13 14 <>")
            << "opKind " << opKind;
        takeCallbacks();
    }
    EXPECT_EQ(fields(PLC_driver.readList.at(0)), fields(numbered())) << "the list keeps its data";
}

TEST_F(RequestEndAlone, aCyclicReadGoesToTheEndAndTellsNobody)
{
    readInFlight();
    PLC_driver.readList.append(variable(AREA_EM, 1, 1));
    PLC_driver.readList.append(variable(AREA_FM, 2, 1));
    EXPECT_EQ(answer("00007\r\n"), 1);
    ASSERT_EQ(PLC_driver.readList.size(), 3);
    EXPECT_EQ(PLC_driver.readList.at(0).area, AREA_EM);
    EXPECT_EQ(PLC_driver.readList.at(1).area, AREA_FM);
    EXPECT_EQ(PLC_driver.readList.at(2).area, AREA_DM);
}

TEST_F(RequestEndAlone, aRequestOfNoListChangesNoList)
{
    for (const int opKind : {100, 3, -1}) {
        writeInFlight();
        PLC_driver.onceReadList = PLC_driver.readList = PLC_driver.writeList;
        PLC_driver.currentVar = numbered();
        PLC_driver.opKind = opKind;
        EXPECT_EQ(answer("OK\r\n"), 1);
        EXPECT_EQ(fields(PLC_driver.currentVar), "1 2 3 4 5 1 \"seven\" \"eight\" 9 10 11 12 13 14 <0F 10>");
        EXPECT_EQ(PLC_driver.writeList.size(), 1) << opKind;
        EXPECT_EQ(PLC_driver.onceReadList.size(), 1) << opKind;
        EXPECT_EQ(PLC_driver.readList.size(), 1) << opKind;
        PLC_driver.writeList.clear();
    }
}

TEST_F(RequestEndAlone, aRequestOfNoListGivenUpNamesTheOwnerReportedLast)
{
    settings.maxRetries = 0;
    add(variable(AREA_DM, 0, 1), 7);
    PLC_driver.currentVar = numbered();
    PLC_driver.opKind = 100;
    EXPECT_EQ(noAnswer(), 46);
    EXPECT_EQ(takeCallbacks(), Lines{"error 1 1 empty"});
}

TEST_F(RequestEndAlone, listsEmptiedMeanwhileAreNoHarm)
{
    for (const int opKind : {1, 2, 0}) {
        add(variable(AREA_DM, 0, 1), 7);
        PLC_driver.opKind = opKind;
        EXPECT_EQ(answer("00007\r\n"), 1) << opKind;
    }
}

// --- callbacks ----------------------------------------------------------------------------------

bool listMutexWasHeld = false;
int errorsSeen = 0;
bool errorListWasEmpty = false;

int notifyLookingAtTheLock(int, int, int, int)
{
    listMutexWasHeld = !PLC_driver.listMutex.tryLock();
    return 5;
}

int errorLookingAtTheList(QList<RW_VAR> *list, int, int)
{
    ++errorsSeen;
    errorListWasEmpty = list != nullptr && list->isEmpty();
    if (list != nullptr)
        list->append(RW_VAR()); // the list is the call's own: this reaches nobody
    return 5;
}

TEST_F(RequestEndAlone, callbacksRunWithTheListsLocked)
{
    listMutexWasHeld = false;
    RegistCallBackFuncIntf(notifyLookingAtTheLock, nullptr);
    writeInFlight();
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_TRUE(listMutexWasHeld);
    ASSERT_TRUE(PLC_driver.listMutex.tryLock()) << "and the lists are free again afterwards";
    PLC_driver.listMutex.unlock();
}

int resultSeen = 0;

int notifyLookingAtTheResult(int, int, int, int)
{
    resultSeen = PLC_driver.currentVar.result;
    return 0;
}

TEST_F(RequestEndAlone, theRecordHoldsOneWhileTheRequesterIsTold)
{
    RegistCallBackFuncIntf(notifyLookingAtTheResult, nullptr);
    PLC_driver.currentVar.result = 46; // of an earlier request
    writeInFlight();
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(resultSeen, 1);
}

TEST_F(RequestEndAlone, theErrorCallbackGetsAListOfItsOwn)
{
    errorsSeen = 0;
    RegistCallBackFuncIntf(nullptr, errorLookingAtTheList);
    settings.maxRetries = 0;
    for (int i = 1; i <= 2; ++i) {
        link(1);
        readInFlight();
        EXPECT_EQ(noAnswer(), 46);
        EXPECT_EQ(errorsSeen, i);
        EXPECT_TRUE(errorListWasEmpty);
    }
    EXPECT_EQ(PLC_driver.readList.size(), 2);
    EXPECT_TRUE(PLC_driver.spareList.isEmpty());
}

TEST_F(RequestEndAlone, noLockIsKeptAfterAnyOutcome)
{
    const auto expectFree = [](const char *after) {
        for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.storeMutex, &PLC_driver.stationMutex,
                              &PLC_driver.storageControlMutex}) {
            ASSERT_TRUE(mutex->tryLock()) << after;
            mutex->unlock();
        }
    };
    writeInFlight();
    noAnswer();
    expectFree("a retry");
    answer("OK\r\n");
    expectFree("a success");
    addBitWrite(0);
    answer("00005\r\n");
    expectFree("a first frame");
    settings.maxRetries = 0;
    noAnswer();
    expectFree("giving up");
    add(variable(AREA_DM, 0, 1), 4, "CR\r\n");
    answer("E1\r\n");
    expectFree("a refused handshake");
    takeCallbacks();
}
} // namespace
