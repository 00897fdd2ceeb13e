// SPDX-License-Identifier: MIT
// A second driver, written as plainly as possible, that the real one is compared with: what
// a host sees after each call (return values, frames, lists, settings block, store,
// callbacks, debug lines).
//
// It shares nothing with the driver but the numbers of the area codes, which stand here as
// literals. It is slow and has no locks; one object is one freshly loaded driver with its
// host's settings block.
#pragma once

#include <array>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace model
{
/// One variable request; the fields are those of RW_VAR.
struct Var {
    int ownerType = 0, ownerId = 0, accessMode = 0, field3 = 0, linkId = 0, result = 0;
    std::string extraText, addressText;
    int area = 0, address = 0, station = 0, count = 0, preReadMark = 0, field13 = 0;
    std::string data;
    bool operator==(const Var &) const = default;
};

/// One queued frame; the fields are those of Protocol.
struct Frame {
    std::string bytes;
    int frameLength = 0, replyLength = 0, replyOffset = 0, payloadLength = 0;
    Var var;
    bool operator==(const Frame &) const = default;
};

/// What the host hands over to have it read cyclically.
struct HostVar {
    int area = 0, station = 0;
    std::string addressText, extraText;
    int count = 0;
};

/// Words of the settings block by number.
constexpr int maxBlockLength = 4;
constexpr int defaultStation = 6;
constexpr int maxRetries = 7;
constexpr int retryCount = 8;
constexpr int multiStation = 9;
constexpr int stateWord10 = 10;
constexpr int framesPerRequest = 11;
constexpr int framesDone = 12;
constexpr int stateWord13 = 13;
constexpr int remoteMode = 14;
constexpr int localLinkId = 15;
constexpr int commMode = 16;
constexpr int cycleDone = 17;
constexpr int callbackContext = 18;

class Driver
{
public:
    // --- what can be compared ---
    std::array<int, 19> settings{};
    std::vector<Var> readList, writeList, onceReadList;
    std::vector<Frame> queue;
    std::map<int, std::map<int, std::string>> store;
    std::map<int, bool> linked;
    std::set<int> switchedOff;
    Var currentVar;
    int opKind = 100, writeTurns = 0, onceReadTurns = 0, readsThisCycle = 0;
    bool lastFailed = false;
    bool callbacksSet = true;
    std::vector<std::string> lines;     ///< debug lines
    std::vector<std::string> callbacks; ///< "notify context type id status", "error type 1 empty"

    // --- host calls ---
    void setComInfo();
    void switchStation(int station, int flag);
    int parseAddress(int area, std::string text);
    int addListReadVar(const Var &var);
    int addListWriteVar(const Var &var, int mode);
    int addListOnceReadVar(Var var, int mode);
    int setRegisterData(const std::string &extraText, int area, const std::string &addressText, int station,
                        const std::string &data, int count, int ownerType, int ownerId);
    int reCreatReadVarList(const std::vector<HostVar> &list);
    int getRegisterData(int area, const std::string &addressText, int station, std::string &out, int count);
    void comCommunication();
    void dataCom(const std::string &reply, int length);

private:
    // addresses and lists
    int blockLength() const;
    void toStoreUnits(Var &var);
    void layBlocks(const std::vector<Var> &group, int length);
    int queuePieces(Var piece, int units, int width, const std::string &data);

    // scheduler
    bool bringUpLiveStation(std::vector<Var> &list);
    void scheduleOne();

    // frames
    bool openLink(const Var &var);
    void append(Frame frame, const Var &var);
    void readRegister(const Var &var);
    void readAnalog(const Var &var);
    void writeRegister(const Var &var);
    void writeBitOfWord(const Var &var);
    void writeAnalog(const Var &var);
    void remoteRead(const Var &var);
    void remoteWrite(const Var &var);

    // replies
    int checkReply(const std::string &reply) const;
    int failure(int base) const;
    int takeLocal(const std::string &reply, int length);
    int takeRemote(const std::string &reply, int length);
    void finishRequest(int code, bool local);
    void tellRequester(const std::vector<Var> &list);
    void purge(std::vector<Var> &list);

    // store
    void sizeRange(int station, int area, int address, int count);
    void putByte(int station, int key, long long position, int value);
    void putNumber(int station, int key, long long position, int bytes, unsigned value);
    int byteAt(int station, int key, long long position) const;
    void decode(const std::string &reply);
    void patchBitWrite(const std::string &reply);
    void writeLocal(const Var &var);
};
} // namespace model
