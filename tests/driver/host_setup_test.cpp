// SPDX-License-Identifier: MIT
// Records, set-up calls and the state in which the driver begins.
#include "driver_test.h"
#include "rows.h"

#include <array>
#include <cstring>
#include <new>
#include <type_traits>

namespace
{
// --- records -------------------------------------------------------------------------------------

// A record as `Record record;` makes it where memory held something else before.
template <class Record>
class OnUsedMemory
{
public:
    OnUsedMemory()
    {
        m_memory.fill(0xA5);
        m_record = new (m_memory.data()) Record;
    }
    ~OnUsedMemory() { m_record->~Record(); }
    OnUsedMemory(const OnUsedMemory &) = delete;
    OnUsedMemory &operator=(const OnUsedMemory &) = delete;
    const Record &operator*() const { return *m_record; }

private:
    alignas(Record) std::array<unsigned char, sizeof(Record)> m_memory;
    Record *m_record = nullptr;
};

class Records : public DriverTest
{
};

TEST_F(Records, aVariableBeginsWithZerosAndEmptyTexts)
{
    const OnUsedMemory<RW_VAR> var;
    EXPECT_EQ(fields(*var), "0 0 0 0 0 0 \"\" \"\" 0 0 0 0 0 0 <>");
}

TEST_F(Records, aVariableListsItsFieldsInTheOrderThatHostsFill)
{
    const RW_VAR var{1, 2,  3,  4,  5,  6,  QStringLiteral("seven"), QStringLiteral("eight"),
                     9, 10, 11, 12, 13, 14, bytes("0F 10")};
    EXPECT_EQ(fields(var), fields(numbered()));
}

TEST_F(Records, aFrameBeginsWithZerosAndNoBytes)
{
    const OnUsedMemory<Protocol> frame;
    EXPECT_EQ((*frame).frame, QByteArray());
    EXPECT_EQ((*frame).frameLength, 0);
    EXPECT_EQ((*frame).replyLength, 0);
    EXPECT_EQ((*frame).replyOffset, 0);
    EXPECT_EQ((*frame).payloadLength, 0);
    EXPECT_EQ(fields((*frame).var), "0 0 0 0 0 0 \"\" \"\" 0 0 0 0 0 0 <>");
    EXPECT_EQ((*frame).extra1, 0);
    EXPECT_EQ((*frame).extra2, 0);
    EXPECT_EQ((*frame).extra3, 0);
}

TEST_F(Records, aFrameListsItsFieldsInTheOrderThatHostsRead)
{
    const Protocol frame{bytes("41"), 1, 2, 3, 4, numbered(), 5, 6, 7};
    EXPECT_EQ(hex(frame.frame), "41");
    EXPECT_EQ(frame.frameLength, 1);
    EXPECT_EQ(frame.replyLength, 2);
    EXPECT_EQ(frame.replyOffset, 3);
    EXPECT_EQ(frame.payloadLength, 4);
    EXPECT_EQ(fields(frame.var), fields(numbered()));
    EXPECT_EQ(frame.extra1, 5);
    EXPECT_EQ(frame.extra2, 6);
    EXPECT_EQ(frame.extra3, 7);
}

TEST_F(Records, anExtendedVariableHasThreeNumbersAndBytes)
{
    const OnUsedMemory<EXTENDVAR> empty;
    EXPECT_EQ((*empty).value1, 0);
    EXPECT_EQ((*empty).value2, 0);
    EXPECT_EQ((*empty).value3, 0);
    EXPECT_EQ((*empty).data, QByteArray());

    const EXTENDVAR filled{1, 2, 3, bytes("04")};
    EXPECT_EQ(filled.value1, 1);
    EXPECT_EQ(filled.value2, 2);
    EXPECT_EQ(filled.value3, 3);
    EXPECT_EQ(hex(filled.data), "04");
}

TEST_F(Records, aHostVariableBeginsWithFourBytes)
{
    const OnUsedMemory<HOSTVAR> empty;
    EXPECT_EQ((*empty).byte0, 0);
    EXPECT_EQ((*empty).area, 0);
    EXPECT_EQ((*empty).station, 0);
    EXPECT_EQ((*empty).byte3, 0);
    EXPECT_EQ((*empty).word, 0);
    EXPECT_EQ((*empty).addressText, QString());
    EXPECT_EQ((*empty).extraText, QString());
    EXPECT_EQ((*empty).count, 0);

    const HOSTVAR filled{1, 2, 3, 4, 5, QStringLiteral("six"), QStringLiteral("seven"), 8};
    EXPECT_EQ(filled.byte0, 1);
    EXPECT_EQ(filled.area, 2);
    EXPECT_EQ(filled.station, 3);
    EXPECT_EQ(filled.byte3, 4);
    EXPECT_EQ(filled.word, 5);
    EXPECT_EQ(filled.addressText, QStringLiteral("six"));
    EXPECT_EQ(filled.extraText, QStringLiteral("seven"));
    EXPECT_EQ(filled.count, 8);
    EXPECT_EQ(offsetof(HOSTVAR, area), 1U);
    EXPECT_EQ(offsetof(HOSTVAR, station), 2U);
    EXPECT_EQ(offsetof(HOSTVAR, byte3), 3U);
    EXPECT_EQ(offsetof(HOSTVAR, word), 4U);
}

TEST_F(Records, aStoreRangeHasFourNumbers)
{
    const OnUsedMemory<ControlInformationM> empty;
    EXPECT_EQ((*empty).station, 0);
    EXPECT_EQ((*empty).area, 0);
    EXPECT_EQ((*empty).address, 0);
    EXPECT_EQ((*empty).count, 0);

    const ControlInformationM filled{1, 2, 3, 4};
    EXPECT_EQ(filled.station, 1);
    EXPECT_EQ(filled.area, 2);
    EXPECT_EQ(filled.address, 3);
    EXPECT_EQ(filled.count, 4);
}

// --- the settings block, word by word -----------------------------------------------------------

struct WordRow {
    const char *name;
    int ComInfo::*member;
    int word;

    friend std::ostream &operator<<(std::ostream &out, const WordRow &row) { return out << row.name; }
};

class SettingsWord : public testing::TestWithParam<WordRow>
{
};

TEST_P(SettingsWord, standsAtItsPlaceInTheHostsBlock)
{
    std::array<qint32, 19> hostBlock;
    for (std::size_t word = 0; word < hostBlock.size(); ++word)
        hostBlock[word] = qint32(1000 + word);
    ComInfo view;
    ASSERT_EQ(sizeof view, sizeof hostBlock);
    std::memcpy(static_cast<void *>(&view), hostBlock.data(), sizeof view);
    EXPECT_EQ(view.*GetParam().member, 1000 + GetParam().word);
}

TEST_P(SettingsWord, beginsAtZero)
{
    const OnUsedMemory<ComInfo> block;
    EXPECT_EQ((*block).*GetParam().member, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Words, SettingsWord,
    testing::Values(
        WordRow{"word0", &ComInfo::word0, 0}, WordRow{"word1", &ComInfo::word1, 1},
        WordRow{"word2", &ComInfo::word2, 2}, WordRow{"word3", &ComInfo::word3, 3},
        WordRow{"maxBlockLength", &ComInfo::maxBlockLength, 4}, WordRow{"word5", &ComInfo::word5, 5},
        WordRow{"defaultStation", &ComInfo::defaultStation, 6},
        WordRow{"maxRetries", &ComInfo::maxRetries, 7}, WordRow{"retryCount", &ComInfo::retryCount, 8},
        WordRow{"multiStation", &ComInfo::multiStation, 9}, WordRow{"stateWord10", &ComInfo::stateWord10, 10},
        WordRow{"framesPerRequest", &ComInfo::framesPerRequest, 11},
        WordRow{"framesDone", &ComInfo::framesDone, 12}, WordRow{"stateWord13", &ComInfo::stateWord13, 13},
        WordRow{"remoteMode", &ComInfo::remoteMode, 14}, WordRow{"localLinkId", &ComInfo::localLinkId, 15},
        WordRow{"commMode", &ComInfo::commMode, 16}, WordRow{"cycleDone", &ComInfo::cycleDone, 17},
        WordRow{"callbackContext", &ComInfo::callbackContext, 18}),
    nameOfRow<WordRow>);

// --- the driver object --------------------------------------------------------------------------

// What stood in the process-wide objects before anything was called; taken while
// this program starts.
struct StateAtLoad {
    bool listsEmpty = PLC_driver.readList.isEmpty() && PLC_driver.writeList.isEmpty() &&
                      PLC_driver.onceReadList.isEmpty() && PLC_driver.spareList.isEmpty() &&
                      PLC_driver.frameQueue.isEmpty() && PLC_driver.extendList.isEmpty();
    bool mapsEmpty = PLC_driver.stationMap.isEmpty() && DataStorage.isEmpty() && handshake.isEmpty();
    bool pointersNull = PLC_driver.comInfo == nullptr && PLC_driver.notifyCallback == nullptr &&
                        PLC_driver.errorCallback == nullptr && LB == nullptr && LW == nullptr &&
                        RWI == nullptr;
    int opKind = PLC_driver.opKind;
    int counters = PLC_driver.writeTurns | PLC_driver.onceReadTurns | PLC_driver.readsThisCycle;
    int flags = PLC_driver.lastFailed | PLC_driver.spareFlag;
};
const StateAtLoad stateAtLoad;

TEST(DriverAtLoad, holdsNothingYet)
{
    EXPECT_TRUE(stateAtLoad.listsEmpty);
    EXPECT_TRUE(stateAtLoad.mapsEmpty);
    EXPECT_TRUE(stateAtLoad.pointersNull);
    EXPECT_EQ(stateAtLoad.opKind, 100);
    EXPECT_EQ(stateAtLoad.counters, 0);
    EXPECT_EQ(stateAtLoad.flags, 0);
}

class DriverObject : public DriverTest
{
};

TEST_F(DriverObject, isConstructedEmpty)
{
    const OnUsedMemory<Communication_Protocol> memory;
    const Communication_Protocol &driver = *memory;
    EXPECT_EQ(driver.comInfo, nullptr);
    EXPECT_TRUE(driver.readList.isEmpty());
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_TRUE(driver.onceReadList.isEmpty());
    EXPECT_TRUE(driver.spareList.isEmpty());
    EXPECT_TRUE(driver.frameQueue.isEmpty());
    EXPECT_TRUE(driver.extendList.isEmpty());
    EXPECT_EQ(driver.notifyCallback, nullptr);
    EXPECT_EQ(driver.errorCallback, nullptr);
    EXPECT_TRUE(driver.stationMap.isEmpty());
    EXPECT_EQ(fields(driver.currentVar), "0 0 0 0 0 0 \"\" \"\" 0 0 0 0 0 0 <>");
    EXPECT_EQ(driver.opKind, 100);
    EXPECT_EQ(driver.writeTurns, 0);
    EXPECT_EQ(driver.onceReadTurns, 0);
    EXPECT_EQ(driver.readsThisCycle, 0);
    EXPECT_EQ(driver.lastFailed, 0);
    EXPECT_EQ(driver.spareFlag, 0);
}

TEST_F(DriverObject, leavesTheHostsBlockAloneWhenItEnds)
{
    ComInfo block;
    std::memset(static_cast<void *>(&block), 0x5A, sizeof block);
    {
        Communication_Protocol driver;
        driver.comInfo = &block;
    }
    ComInfo untouched;
    std::memset(static_cast<void *>(&untouched), 0x5A, sizeof untouched);
    EXPECT_EQ(std::memcmp(&block, &untouched, sizeof block), 0);
}

TEST_F(DriverObject, keepsItsMembersInTheDeclaredOrder)
{
    const Communication_Protocol &driver = PLC_driver;
    const void *const members[] = {&driver.comInfo,
                                   &driver.readList,
                                   &driver.writeList,
                                   &driver.onceReadList,
                                   &driver.spareList,
                                   &driver.frameQueue,
                                   &driver.extendList,
                                   &driver.notifyCallback,
                                   &driver.errorCallback,
                                   &driver.listMutex,
                                   &driver.storeMutex,
                                   &driver.stationMutex,
                                   &driver.storageControlMutex,
                                   &driver.stationMap,
                                   &driver.currentVar,
                                   &driver.opKind,
                                   &driver.writeTurns,
                                   &driver.onceReadTurns,
                                   &driver.readsThisCycle,
                                   &driver.lastFailed,
                                   &driver.spareFlag};
    for (std::size_t at = 1; at < std::size(members); ++at)
        EXPECT_LT(members[at - 1], members[at]) << "member " << at + 1;
    EXPECT_EQ(sizeof driver.lastFailed, 1U);
    EXPECT_EQ(sizeof driver.spareFlag, 1U);
}

TEST_F(DriverObject, hasFourMutexesThatAThreadTakesOnce)
{
    for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.storeMutex, &PLC_driver.stationMutex,
                          &PLC_driver.storageControlMutex}) {
        ASSERT_TRUE(mutex->tryLock());
        EXPECT_FALSE(mutex->tryLock());
        mutex->unlock();
    }
}

// --- set-up calls -------------------------------------------------------------------------------

class HostSetUp : public DriverTest
{
protected:
    // One write to the linked station 1 that gets no answer and is given up at once.
    static void giveUpAWrite()
    {
        link(1);
        PLC_driver.comInfo->maxRetries = 0;
        PLC_driver.writeList.append(write(AREA_DM, 100, 1, "07 00"));
        ASSERT_EQ(send(), "WRS DM100.U 1 00007\r");
        ASSERT_EQ(noAnswer(), 46);
    }
};

// A host that replaces the fixture's callbacks: it counts, and answers with a number that nobody
// may look at.
int otherNotified = 0;
int otherErrors = 0;

int otherNotify(int, int, int, int)
{
    ++otherNotified;
    return -1;
}

int otherError(QList<RW_VAR> *, int, int)
{
    ++otherErrors;
    return -1;
}

TEST_F(HostSetUp, theSettingsBlockLosesTwoStateWordsAndNothingElse)
{
    struct HostBlock {
        ComInfo known;
        qint32 beyond[5];
    } host;
    std::memset(static_cast<void *>(&host), 0x11, sizeof host);
    SetComInfo(&host.known);

    EXPECT_EQ(PLC_driver.comInfo, &host.known);
    std::array<qint32, 24> words;
    std::memcpy(words.data(), static_cast<const void *>(&host), sizeof words);
    for (std::size_t word = 0; word < words.size(); ++word)
        EXPECT_EQ(words[word], word == 10 || word == 13 ? 0 : 0x11111111) << "word " << word;
}

TEST_F(HostSetUp, aSecondSettingsBlockReplacesTheFirstAndResetsNothingElse)
{
    PLC_driver.opKind = 2;
    PLC_driver.writeTurns = 3;
    PLC_driver.onceReadTurns = 4;
    PLC_driver.readsThisCycle = 5;
    PLC_driver.lastFailed = 1;
    PLC_driver.stationMap[9] = 0;
    PLC_driver.readList.append(variable(AREA_DM, 0, 1));
    PLC_driver.frameQueue.append(Protocol());
    link(1);
    ComInfo other;
    other.stateWord10 = 8;
    other.stateWord13 = 9;
    settings.stateWord10 = 6;
    SetComInfo(&other);

    EXPECT_EQ(PLC_driver.comInfo, &other);
    EXPECT_EQ(other.stateWord10, 0);
    EXPECT_EQ(other.stateWord13, 0);
    EXPECT_EQ(settings.stateWord10, 6) << "the block handed over before belongs to the host again";
    EXPECT_EQ(PLC_driver.opKind, 2);
    EXPECT_EQ(PLC_driver.writeTurns, 3);
    EXPECT_EQ(PLC_driver.onceReadTurns, 4);
    EXPECT_EQ(PLC_driver.readsThisCycle, 5);
    EXPECT_EQ(PLC_driver.lastFailed, 1);
    EXPECT_EQ(PLC_driver.stationMap.size(), 1);
    EXPECT_EQ(PLC_driver.readList.size(), 1);
    EXPECT_EQ(PLC_driver.frameQueue.size(), 1);
    EXPECT_TRUE(handshake.value(1));
    EXPECT_NE(PLC_driver.notifyCallback, nullptr);
}

TEST_F(HostSetUp, noSettingsBlockAtAllChangesNothing)
{
    SetComInfo(nullptr);
    EXPECT_EQ(PLC_driver.comInfo, &settings);
}

TEST_F(HostSetUp, theWordsOfTheHostAreNeverTouched)
{
    struct HostBlock {
        ComInfo known;
        qint32 beyond[5] = {19, 20, 21, 22, 23};
    } host;
    host.known = settings;
    host.known.word0 = 100;
    host.known.word1 = 101;
    host.known.word2 = 102;
    host.known.word3 = 103;
    host.known.word5 = 105;
    SetComInfo(&host.known);
    giveUpAWrite();

    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
    EXPECT_EQ(host.known.word0, 100);
    EXPECT_EQ(host.known.word1, 101);
    EXPECT_EQ(host.known.word2, 102);
    EXPECT_EQ(host.known.word3, 103);
    EXPECT_EQ(host.known.word5, 105);
    EXPECT_EQ(host.known.stateWord10, 0);
    EXPECT_EQ(host.known.stateWord13, 0);
    for (int at = 0; at < 5; ++at)
        EXPECT_EQ(host.beyond[at], 19 + at);
}

TEST_F(HostSetUp, aSecondPairOfCallbacksReplacesBoth)
{
    otherNotified = otherErrors = 0;
    RegistCallBackFuncIntf(otherNotify, otherError);
    EXPECT_EQ(PLC_driver.notifyCallback, &otherNotify);
    EXPECT_EQ(PLC_driver.errorCallback, &otherError);
    giveUpAWrite();
    EXPECT_EQ(otherNotified, 1);
    EXPECT_EQ(otherErrors, 1);
    EXPECT_EQ(takeCallbacks(), Lines()) << "the callbacks registered first";
}

TEST_F(HostSetUp, absentCallbacksAreNotCalled)
{
    RegistCallBackFuncIntf(nullptr, nullptr);
    giveUpAWrite();
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(HostSetUp, oneOfTheTwoCallbacksMayBeAbsent)
{
    otherNotified = otherErrors = 0;
    RegistCallBackFuncIntf(otherNotify, nullptr);
    giveUpAWrite();
    link(1);
    RegistCallBackFuncIntf(nullptr, otherError);
    giveUpAWrite();
    EXPECT_EQ(otherNotified, 1);
    EXPECT_EQ(otherErrors, 1);
}

TEST_F(HostSetUp, theCallbackContextIsReadWhenTheCallbackRuns)
{
    link(1);
    PLC_driver.writeList.append(write(AREA_DM, 100, 1, "07 00"));
    ASSERT_EQ(send(), "WRS DM100.U 1 00007\r");
    settings.callbackContext = -8;
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(takeCallbacks(), Lines{"notify -8 5 50 1"});
}

TEST_F(HostSetUp, theLocalAreasAreKept)
{
    int lb = 0;
    int lw = 0;
    int rwi = 0;
    FlashLocalRegister(&lb, &lw, &rwi);
    EXPECT_EQ(LB, &lb);
    EXPECT_EQ(LW, &lw);
    EXPECT_EQ(RWI, &rwi);
    FlashLocalRegister(nullptr, &lb, nullptr);
    EXPECT_EQ(LB, nullptr);
    EXPECT_EQ(LW, &lb);
    EXPECT_EQ(RWI, nullptr);
}

TEST_F(HostSetUp, theFinishFlagIsUpEvenWhileFramesWait)
{
    EXPECT_EQ(QueryFinishFlag(), 1);
    PLC_driver.frameQueue.append(Protocol());
    PLC_driver.writeList.append(write(AREA_DM, 0, 1, "00 00"));
    EXPECT_EQ(QueryFinishFlag(), 1);
}

TEST_F(HostSetUp, noAddressHasAnOffset)
{
    for (const int address : {-2147483647 - 1, -1, 0, 1, 65535, 2147483647})
        EXPECT_EQ(getOffsetAddress(address), 0) << address;
}

TEST_F(HostSetUp, theHostGetsEveryFieldButTheData)
{
    RW_VAR target;
    target.data = bytes("AA BB");
    const RW_VAR source = numbered();
    passRetValue(source, target);
    EXPECT_EQ(fields(target), "1 2 3 4 5 6 \"seven\" \"eight\" 9 10 11 12 13 14 <>");
    EXPECT_EQ(fields(source), fields(numbered()));
}

TEST_F(HostSetUp, aVariablePassedToItselfLosesItsData)
{
    RW_VAR var = numbered();
    passRetValue(var, var);
    EXPECT_EQ(fields(var), "1 2 3 4 5 6 \"seven\" \"eight\" 9 10 11 12 13 14 <>");
}
} // namespace
