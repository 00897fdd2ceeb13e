// SPDX-License-Identifier: MIT
// One scripted session, played again and again with another of its exchanges broken each
// time, in every way a line or a PLC breaks one: once, each time that frame goes out, or from
// there on altogether. Then the line is repaired, and everything must come to its end as if
// nothing had been.
//
// After every single answer: the lists hold nothing that was not put there and lose nothing that
// was not reported, nobody is told of an end twice, counters are in their range, and the store
// holds nothing but what good answers brought and what was written.
#include "list_test.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace
{
enum class Part { Opening, Write, OnceRead, Cyclic, Unanswered };
enum class Break { Silent, Short, Long, Garbled, Error, InOne, Apart };
enum class Lasting { Once, ThisFrame, FromHere };

// One exchange of the session as it goes when nothing is wrong.
struct Exchange {
    const char *name;
    const char *frame;  // text; of the remote variant hexadecimal
    const char *answer; // without its CR LF
    Part part;
    int owner;  // the requester whose request it serves
    bool tells; // its answer ends the last pending request of the owner, who is told of it
};

// What an element of the store may hold besides 0, which stands for "not known yet".
struct Element {
    int key, position;
    const char *value;
    int station = 1;
};

struct Variant {
    const char *name;
    bool remote;
    std::vector<Exchange> exchanges; // in the order of the undisturbed session
    std::vector<Exchange> later;     // never broken; sent after the repair, or as a consequence of a fault
    std::vector<Element> elements;
    // What reads must have brought in the end. On purpose without writes: one that is built while
    // the last request has failed is not put into the store.
    std::vector<Element> read;
};

// clang-format off
// Requester 70 writes twice and is called once; so does requester 60 with its two one-shot reads.
// Five turns for writes, of which opening the link takes the first; then one-shot reads; then one
// cyclic read and writes again.
const Variant local{"local", false, {
    {"opening",    "CR\r\n",                        "CC",                      Part::Opening,   0, false},
    {"words",      "WRS DM100.U 2 04660 22136\r",   "OK",                      Part::Write,    70, false},
    {"setValue",   "WRS TS3.D 1 0000000500\r",      "OK",                      Part::Write,    70, true},
    {"relay",      "ST R205\r",                     "OK",                      Part::Write,    71, true},
    {"preRead",    "RDS DM200.U 1\r",               "00005",                   Part::Write,    72, false},
    {"patched",    "WRS DM200.U 1 00013\r",         "OK",                      Part::Write,    72, true},
    {"onceFirst",  "RDS EM7.U 2\r",                 "00011 00012",             Part::OnceRead, 60, false},
    {"onceSecond", "RDS AT2.D 1\r",                 "0000001000",              Part::OnceRead, 60, true},
    {"counters",   "RDS CTH1.D 1\r",                "1,0000000037,0000001000", Part::OnceRead, 61, true},
    {"cyclicWords", "RDS DM0.U 3\r",                "00001 00002 65535",       Part::Cyclic,    0, false},
    {"doubleWord", "WRS Z2.D 1 0000070000\r",       "OK",                      Part::Write,    73, true},
    {"cyclicTimer", "RDS T5.D 1\r",                 "1,0000000012,0000000034", Part::Cyclic,    0, false},
    {"cyclicDouble", "RDS Z1.D 1\r",                "0000070001",              Part::Cyclic,    0, false},
    {"cyclicChannel", "RDS R1200.U 1\r",            "00258",                   Part::Cyclic,    0, false},
}, {
    // 0 read instead of 5: the line's doing. A host that looks at answers hands in none for it.
    {"patchedFromGarbled", "WRS DM200.U 1 00008\r", "OK",                      Part::Write,    72, true},
    {"lateWord",    "WRS DM300.U 1 00009\r",        "OK",                      Part::Write,    90, true},
    {"latePreRead", "RDS EM30.U 1\r",               "00002",                   Part::Write,    91, false},
    {"latePatched", "WRS EM30.U 1 00003\r",         "OK",                      Part::Write,    91, true},
    {"lateOnce",    "RDS EM40.U 1\r",               "00014",                   Part::OnceRead, 92, true},
}, {
    {10, 0, "01 00"}, {10, 2, "02 00"}, {10, 4, "FF FF"}, {10, 200, "34 12"}, {10, 202, "78 56"},
    {10, 400, "08 00"}, {10, 600, "09 00"}, {11, 14, "0B 00"}, {11, 16, "0C 00"}, {11, 60, "01 00"},
    {11, 80, "0E 00"}, {23, 8, "E8 03 00 00"}, {8, 1, "01"}, {21, 4, "25 00 00 00"}, {6, 5, "01"},
    {17, 20, "0C 00 00 00"}, {18, 20, "22 00 00 00"}, {18, 12, "F4 01 00 00"}, {16, 4, "71 11 01 00"},
    {16, 8, "70 11 01 00"}, {0, 4, "20"}, {0, 24, "02 01"},
}, {
    {10, 0, "01 00 02 00 FF FF"}, {6, 5, "01"}, {17, 20, "0C 00 00 00"}, {18, 20, "22 00 00 00"},
    {16, 4, "71 11 01 00"}, {0, 24, "02 01"}, {11, 80, "0E 00"},
}};

// Frames of remote areas end in the low byte of the sum of all bytes before. Answers to reads are
// not decoded, one-shot reads are reported to nobody, and a write to station 0 has no answer.
const Variant remote{"remote", true, {
    {"words", "1A 05 01 04 01 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 34 12 78 56 A9",
                                                    "OK",                      Part::Write,    70, false},
    {"moreWords", "18 05 01 04 01 00 0B 00 00 00 03 00 01 00 00 00 00 00 00 00 00 2A 00 5C",
                                                    "OK",                      Part::Write,    70, true},
    {"bit", "17 05 01 04 01 00 20 00 00 0C 83 00 01 00 00 00 00 00 00 00 00 01 D3",
                                                    "OK",                      Part::Write,    71, true},
    {"unanswered", "18 05 01 04 00 00 0A 00 00 00 01 00 01 00 00 00 00 00 00 00 00 07 00 35",
                                                    "OK",                      Part::Unanswered, 72, true},
    {"onceFirst", "00 05 00 04 01 00 0B 00 00 00 07 00 02 00 00 00 00 00 00 00 00 1E",
                                                    "00011 00012",             Part::OnceRead, 60, false},
    {"onceSecond", "00 05 00 04 01 00 17 00 00 00 02 00 01 00 00 00 00 00 00 00 00 24",
                                                    "0000001000",              Part::OnceRead, 60, false},
    {"cyclicWords", "00 05 00 04 01 00 0A 00 00 00 00 00 03 00 00 00 00 00 00 00 00 17",
                                                    "00001 00002 65535",       Part::Cyclic,    0, false},
    {"cyclicTimer", "00 05 00 04 01 00 06 00 00 00 05 00 01 00 00 00 00 00 00 00 00 16",
                                                    "1,0000000012,0000000034", Part::Cyclic,    0, false},
}, {
    {"lateWord", "18 05 01 04 01 00 0A 00 00 01 2C 00 01 00 00 00 00 00 00 00 00 09 00 64",
                                                    "OK",                      Part::Write,    90, true},
    {"lateOnce", "00 05 00 04 01 00 0B 00 00 00 28 00 01 00 00 00 00 00 00 00 00 3E",
                                                    "00014",                   Part::OnceRead, 92, false},
}, {
    {10, 200, "34 12"}, {10, 202, "78 56"}, {11, 6, "2A 00"}, {10, 400, "08 00"}, {10, 600, "09 00"}, {10, 2, "07 00", 0},
}, {}};
// clang-format on

struct Fault {
    const char *name;
    Break kind;
    const char *code; // of an error answer
};

const Fault faults[] = {
    {"silent", Break::Silent, ""},   {"short", Break::Short, ""}, {"long", Break::Long, ""},
    {"garbled", Break::Garbled, ""}, {"inOne", Break::InOne, ""}, {"apart", Break::Apart, ""},
    {"E0", Break::Error, "E0"},      {"E1", Break::Error, "E1"},  {"E2", Break::Error, "E2"},
    {"E4", Break::Error, "E4"},      {"E5", Break::Error, "E5"},  {"E6", Break::Error, "E6"},
};

struct LoopRow {
    const Variant *variant;
    std::size_t broken; // which exchange
    Fault fault;
    Lasting lasting;
};

std::string nameOf(Lasting lasting)
{
    switch (lasting) {
    case Lasting::Once:
        return "once";
    case Lasting::ThisFrame:
        return "always";
    default:
        return "fromHereOn";
    }
}

std::string nameOfLoop(const testing::TestParamInfo<LoopRow> &info)
{
    const LoopRow &row = info.param;
    return std::string(row.variant->name) + "_" + row.variant->exchanges[row.broken].name + "_" +
           row.fault.name + "_" + nameOf(row.lasting);
}

void PrintTo(const LoopRow &row, std::ostream *out)
{
    *out << row.variant->exchanges[row.broken].name << " " << row.fault.name;
}

std::vector<LoopRow> allRows(const Variant &variant)
{
    std::vector<LoopRow> rows;
    for (std::size_t broken = 0; broken < variant.exchanges.size(); ++broken)
        for (const Fault &fault : faults)
            for (const Lasting lasting : {Lasting::Once, Lasting::ThisFrame, Lasting::FromHere})
                rows.push_back({&variant, broken, fault, lasting});
    return rows;
}

// The answer as it arrives, and how many bytes the host says it has got.
struct Arrival {
    QByteArray bytes;
    int length;
};

class FaultLoop : public ListTest, public testing::WithParamInterface<LoopRow>
{
protected:
    static constexpr int retries = 2;
    static constexpr int disturbedTurns = 40; // each exchange has come by then, and most of them twice

    void begin(const Variant &session)
    {
        variant = &session;
        settings.maxRetries = retries;
        settings.remoteMode = session.remote ? 1 : 0;
        if (session.remote)
            registerRemote();
        else
            registerLocal();
        readEntries = sorted(PLC_driver.readList);
    }

    // --- what screens ask for ---

    static void registerLocal()
    {
        addWrite(70, write(AREA_DM, 100, 2, "34 12 78 56"));
        addWrite(70, write(AREA_TS, 3, 1, "F4 01 00 00"));
        addWrite(71, write(AREA_R, 37, 1, "01"));
        addWrite(72, write(AREA_DM_BIT, 3203, 1, "01"));
        addWrite(73, write(AREA_Z, 2, 1, "70 11 01 00"));
        addOnceRead(60, variable(AREA_EM, 7, 2));
        addOnceRead(60, variable(AREA_AT, 2, 1));
        addOnceRead(61, variable(AREA_CTH_DWORD, 1, 1));
        addCyclic(variable(AREA_DM, 0, 3));
        addCyclic(variable(AREA_T, 5, 1));
        addCyclic(variable(AREA_Z, 1, 1));
        addCyclic(variable(AREA_R, 12, 1));
    }

    static void registerRemote()
    {
        addWrite(70, distant(write(AREA_DM, 100, 2, "34 12 78 56")));
        addWrite(70, distant(write(AREA_EM, 3, 1, "2A 00")));
        addWrite(71, distant(write(AREA_DM_BIT, 3203, 1, "01")));
        addWrite(72, distant(write(AREA_DM, 1, 1, "07 00", 0)));
        addOnceRead(60, distant(variable(AREA_EM, 7, 2)));
        addOnceRead(60, distant(variable(AREA_AT, 2, 1)));
        addCyclic(distant(variable(AREA_DM, 0, 3)));
        addCyclic(distant(variable(AREA_T, 5, 1)));
    }

    void registerLater()
    {
        if (variant->remote) {
            addWrite(90, distant(write(AREA_DM, 300, 1, "09 00")));
            addOnceRead(92, distant(variable(AREA_EM, 40, 1)));
            return;
        }
        addWrite(90, write(AREA_DM, 300, 1, "09 00"));
        addWrite(91, write(AREA_EM_BIT, 480, 1, "01"));
        addOnceRead(92, variable(AREA_EM, 40, 1));
    }

    static RW_VAR distant(RW_VAR var)
    {
        var.linkId = 4;
        return var;
    }

    static void addWrite(int owner, RW_VAR var)
    {
        var.ownerId = owner;
        AddListWriteVar(&var, 1);
    }

    static void addOnceRead(int owner, RW_VAR var)
    {
        var.ownerId = owner;
        AddListOnceReadVar(&var, 1);
    }

    static void addCyclic(RW_VAR var) { AddListReadVar(&var); }

    // --- the host's loop ---

    // One turn: asks for a frame, answers it. \return false if there was nothing to send
    bool turn()
    {
        const quintptr head = ComCommunication();
        expectListsSound();
        expectCountersSound();
        if (head == 0)
            return false;
        const Exchange *exchange = find(reinterpret_cast<const Protocol *>(head)->frame);
        if (exchange == nullptr) {
            ADD_FAILURE() << "a frame of nobody: " << hex(reinterpret_cast<const Protocol *>(head)->frame);
            return false;
        }
        SCOPED_TRACE(std::string("turn ") + std::to_string(++turns) + ": " + exchange->name);
        sent.push_back(exchange->name);
        expectNotTooOften(*exchange);
        EXPECT_TRUE(exchange->part == Part::Opening || variant->remote || !lastWasGivenUp)
            << "the link is opened again after a give-up";
        if (strikes(*exchange))
            answerBadly(*exchange);
        else
            answerWell(*exchange);
        expectSound();
        return true;
    }

    bool strikes(const Exchange &exchange)
    {
        if (isRepaired)
            return false;
        const bool isIt = &exchange == &variant->exchanges[row.broken];
        const bool hasBegun = strokes > 0;
        bool does = isIt;
        if (row.lasting == Lasting::Once)
            does = isIt && !hasBegun;
        else if (row.lasting != Lasting::ThisFrame)
            does = isIt || hasBegun;
        strokes += does ? 1 : 0;
        return does;
    }

    void answerWell(const Exchange &exchange)
    {
        const Arrival good = goodAnswer(exchange);
        expectEnd(exchange, handIn(good), successCode(exchange));
    }

    // A code of failure is 0 as long as the request is tried again.
    void answerBadly(const Exchange &exchange)
    {
        if (row.fault.kind == Break::Apart) {
            answerWell(exchange);
            expectCopyDoesNoHarm(exchange);
            return;
        }
        const int code = failureCode(exchange);
        const bool isLast = settings.retryCount >= retries;
        const bool fails = code != successCode(exchange) && exchange.part != Part::Opening;
        const int result = handIn(brokenAnswer(exchange));
        expectEnd(exchange, result, fails && !isLast ? 0 : code);
    }

    int handIn(Arrival arrival)
    {
        const int result = reinterpret_cast<const RW_VAR *>(DataCom(&arrival.bytes, arrival.length))->result;
        if (result == 1 || result == 100)
            settings.retryCount = 0; // a host's part: retries are counted for each request
        return result;
    }

    // --- answers, good and bad ---

    static Arrival goodAnswer(const Exchange &exchange)
    {
        if (exchange.part == Part::Unanswered)
            return {"OK", 0}; // what a host hands in for it
        return whole(QByteArray(exchange.answer) + "\r\n");
    }

    static Arrival whole(const QByteArray &bytes) { return {bytes, int(bytes.size())}; }

    Arrival brokenAnswer(const Exchange &exchange) const
    {
        const QByteArray text = exchange.answer;
        switch (row.fault.kind) {
        case Break::Silent:
            return {QByteArray(), 0};
        case Break::Short:
            return whole(text.left(text.size() - 1) + "\r\n");
        case Break::Long:
            return whole(text + "0\r\n");
        case Break::Garbled:
            return whole(QByteArray(text).replace(text.size() / 2, 1, "?") + "\r\n");
        case Break::Error:
            return whole(QByteArray(row.fault.code) + "\r\n");
        case Break::InOne:
            return whole(text + "\r\n" + text + "\r\n");
        case Break::Apart:
            break;
        }
        return goodAnswer(exchange);
    }

    int successCode(const Exchange &exchange) const
    {
        return variant->remote && exchange.part != Part::Opening ? 100 : 1;
    }

    // By the bands of failures: 10 error answer, 40 none, 70 wrong length, 100 more for remote
    // areas; then the owner type, 5, and 1.
    int failureCode(const Exchange &exchange) const
    {
        const int band = variant->remote ? 100 : 0;
        if (exchange.part == Part::Opening)
            return 201;
        if (exchange.part == Part::Unanswered) // all that comes is too long; nothing at all is no "OK"
            return row.fault.kind == Break::Silent ? 116 : 176;
        switch (row.fault.kind) {
        case Break::Silent:
            return band + 46;
        case Break::Garbled: // of the right length: digits that are none count as 0, and four bytes as "OK"
            return successCode(exchange);
        case Break::Error: // four bytes, which is the right length for an "OK" alone
            return QByteArray(exchange.answer) == "OK" ? band + 16 : band + 76;
        default:
            return band + 76;
        }
    }

    // --- what must hold ---

    // The result, and exactly the callbacks that belong to it.
    void expectEnd(const Exchange &exchange, int result, int expected)
    {
        EXPECT_EQ(result, expected);
        Lines callbacks;
        const bool told = exchange.part == Part::Write || exchange.part == Part::Unanswered ||
                          (exchange.part == Part::OnceRead && !variant->remote);
        const bool givenUp = expected > 1 && expected != 100 && expected != 201;
        const std::string owner = std::to_string(exchange.owner);
        if (told && (givenUp || (exchange.tells && expected != 0)))
            callbacks.push_back("notify 77 5 " + owner + (givenUp ? " 2" : " 1"));
        if (givenUp)
            callbacks.push_back("error 5 1 empty");
        const Lines heard = takeCallbacks();
        EXPECT_EQ(heard, callbacks);
        for (const std::string &callback : heard)
            reports[exchange.owner] += callback.compare(0, 6, "notify") == 0 ? 1 : 0;
        lastWasGivenUp = givenUp;
        if (givenUp || exchange.part == Part::Opening) {
            EXPECT_TRUE(PLC_driver.frameQueue.isEmpty()) << "still in flight";
        }
        if (exchange.part != Part::Opening) {
            EXPECT_EQ(PLC_driver.lastFailed != 0, expected == 0 || givenUp);
        }
    }

    // The second copy finds nothing in flight, or a frame of the same request that it does not fit.
    void expectCopyDoesNoHarm(const Exchange &exchange)
    {
        const bool finds = !PLC_driver.frameQueue.isEmpty();
        EXPECT_EQ(finds, std::string(exchange.name) == "preRead");
        const std::string before = listsAsText();
        EXPECT_EQ(handIn(whole(QByteArray(exchange.answer) + "\r\n")), finds ? 0 : 1);
        EXPECT_EQ(listsAsText(), before);
        EXPECT_EQ(takeCallbacks(), Lines());
    }

    void expectNotTooOften(const Exchange &exchange)
    {
        timesInARow = lastFrame == &exchange && !lastWasGivenUp ? timesInARow + 1 : 1;
        lastFrame = &exchange;
        if (exchange.part != Part::Opening) {
            EXPECT_LE(timesInARow, retries + 1);
        }
    }

    void expectSound()
    {
        expectListsSound();
        expectCountersSound();
        expectStoreSound();
        for (const std::string &line : takeLines())
            EXPECT_TRUE(line == "init handshake" || line == "Handshake(RW_Var)") << line;
    }

    void expectListsSound()
    {
        EXPECT_EQ(sorted(PLC_driver.readList), readEntries) << "cyclic reads go round, none is lost";
        EXPECT_LE(PLC_driver.frameQueue.size(), 2);
        for (const QList<RW_VAR> *list : {&PLC_driver.writeList, &PLC_driver.onceReadList}) {
            for (int i = 0; i < list->size(); ++i) {
                EXPECT_EQ(reports[list->at(i).ownerId], 0) << "told of the end of what still waits";
                EXPECT_TRUE(isKnown(list->at(i).ownerId)) << "an entry of nobody";
            }
        }
        for (int i = 1; i < PLC_driver.frameQueue.size(); ++i)
            EXPECT_EQ(PLC_driver.frameQueue.at(i).var.ownerId, PLC_driver.frameQueue.at(0).var.ownerId);
    }

    void expectCountersSound() const
    {
        EXPECT_TRUE(PLC_driver.writeTurns >= 0 && PLC_driver.writeTurns <= 5) << PLC_driver.writeTurns;
        EXPECT_TRUE(PLC_driver.onceReadTurns >= 0 && PLC_driver.onceReadTurns <= 5)
            << PLC_driver.onceReadTurns;
        EXPECT_TRUE(PLC_driver.readsThisCycle >= 0 && PLC_driver.readsThisCycle <= PLC_driver.readList.size())
            << PLC_driver.readsThisCycle;
        EXPECT_TRUE(settings.retryCount >= 0 && settings.retryCount <= retries) << settings.retryCount;
        EXPECT_TRUE(settings.framesDone >= 0 && settings.framesDone <= settings.framesPerRequest);
        EXPECT_EQ(settings.framesPerRequest - settings.framesDone > 0 || PLC_driver.frameQueue.isEmpty(),
                  true);
    }

    // Each element holds its value or 0, everything between them is 0.
    void expectStoreSound() const
    {
        for (auto station = DataStorage.constBegin(); station != DataStorage.constEnd(); ++station) {
            for (auto range = station->constBegin(); range != station->constEnd(); ++range) {
                QByteArray rest = *range + QByteArray(4, '\0'); // an image may end within an element
                for (const Element &element : variant->elements)
                    takeOut(element, station.key(), range.key(), rest);
                EXPECT_EQ(rest.count('\0'), rest.size())
                    << "station " << station.key() << " key " << range.key() << ": " << hex(*range);
            }
        }
    }

    static void takeOut(const Element &element, int station, int key, QByteArray &image)
    {
        if (element.station != station || element.key != key)
            return;
        const QByteArray value = bytes(element.value);
        if (image.mid(element.position, value.size()) == value)
            image.replace(element.position, value.size(), QByteArray(value.size(), '\0'));
    }

    // After the repair: the first exchange is good at once, all that waited is served, all
    // is read again.
    void expectRecovery()
    {
        isRepaired = true;
        registerLater();
        for (int i = 0; i < 60; ++i)
            turn();
        EXPECT_TRUE(PLC_driver.writeList.isEmpty());
        EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
        for (const Element &element : variant->read) {
            EXPECT_EQ(image(1, element.key, element.position, int(bytes(element.value).size())),
                      element.value)
                << "key " << element.key;
        }
        expectEachToldOnce();
    }

    void expectEachToldOnce()
    {
        for (const auto *exchanges : {&variant->exchanges, &variant->later}) {
            for (const Exchange &exchange : *exchanges) {
                if (exchange.tells && !(variant->remote && exchange.part == Part::OnceRead)) {
                    EXPECT_EQ(reports[exchange.owner], 1) << exchange.name;
                }
            }
        }
    }

    // --- helpers ---

    const Exchange *find(const QByteArray &frame) const
    {
        const std::string text = variant->remote ? hex(frame) : frame.toStdString();
        for (const auto *exchanges : {&variant->exchanges, &variant->later}) {
            for (const Exchange &exchange : *exchanges) {
                if (text == exchange.frame)
                    return &exchange;
            }
        }
        return nullptr;
    }

    bool isKnown(int owner) const
    {
        const auto has = [owner](const std::vector<Exchange> &exchanges) {
            return std::any_of(exchanges.begin(), exchanges.end(),
                               [owner](const Exchange &one) { return one.owner == owner; });
        };
        return has(variant->exchanges) || has(variant->later);
    }

    // In any order; which block is which does not depend on the whole record.
    static std::vector<std::tuple<int, int, int>> sorted(const QList<RW_VAR> &list)
    {
        std::vector<std::tuple<int, int, int>> all;
        for (int i = 0; i < list.size(); ++i)
            all.emplace_back(list.at(i).area, list.at(i).address, list.at(i).count);
        std::sort(all.begin(), all.end());
        return all;
    }

    static std::string listsAsText()
    {
        return entriesWithData(PLC_driver.writeList) + " | " + entries(PLC_driver.onceReadList) + " | " +
               entries(PLC_driver.readList);
    }

    const Variant *variant = nullptr;
    LoopRow row{};
    std::vector<std::tuple<int, int, int>> readEntries;
    std::vector<std::string> sent;
    std::map<int, int> reports; // by owner
    const Exchange *lastFrame = nullptr;
    int timesInARow = 0;
    bool lastWasGivenUp = false;
    int turns = 0;
    int strokes = 0;
    bool isRepaired = false;
};

TEST_P(FaultLoop, endsWithEverythingServed)
{
    row = GetParam();
    begin(*row.variant);
    for (int i = 0; i < disturbedTurns; ++i)
        turn();
    EXPECT_GE(strokes, 1) << "nothing was broken";
    expectRecovery();
}

INSTANTIATE_TEST_SUITE_P(Driver, FaultLoop, testing::ValuesIn(allRows(local)), nameOfLoop);
INSTANTIATE_TEST_SUITE_P(DriverRemote, FaultLoop, testing::ValuesIn(allRows(remote)), nameOfLoop);

// --- the session when nothing breaks ---

class Undisturbed : public FaultLoop
{
};

TEST_P(Undisturbed, goesInItsOrder)
{
    begin(*GetParam().variant);
    isRepaired = true;
    Lines names;
    for (const Exchange &exchange : variant->exchanges) {
        EXPECT_TRUE(turn()) << "nothing to send instead of " << exchange.name;
        names.push_back(exchange.name);
    }
    EXPECT_EQ(sent, names);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    registerLater();
    for (int i = 0; i < 20; ++i)
        turn();
    expectEachToldOnce();
}

INSTANTIATE_TEST_SUITE_P(Driver, Undisturbed,
                         testing::Values(LoopRow{&local, 0, faults[0], Lasting::Once},
                                         LoopRow{&remote, 0, faults[0], Lasting::Once}),
                         [](const testing::TestParamInfo<LoopRow> &loop) {
                             return loop.param.variant->name;
                         });
} // namespace
