// SPDX-License-Identifier: MIT
// Communication_Protocol: PLC communication driver for Keyence KV series, KV upper-link protocol.
//
// The one header of the library. A host that loads the library at run time needs the records, the
// identity and the host calls (all exported under plain names). Tests and tools that link the
// library may use everything below. C++11 is enough for this header; Qt 6 itself asks for C++17.
// Code that is linked with the library is compiled with -fPIC.
//
// The driver never touches a wire. The host's exchange thread asks what to send
// (ComCommunication), sends it, and hands back what came (DataCom). Meanwhile screens register
// variables and read and write values.
//
// Words used throughout
//   station      number of a PLC; key of the station map, of the link flags and of the store
//   area code    0..39, names a view of a PLC device (AREA_R ... AREA_VM_BIT)
//   host units   what screens count in: bits for bit areas, 16-bit registers for double-word areas
//                and for contacts (two for each), else elements
//   store units  what frames and read blocks count in: 16-bit words for bit areas, double words for
//                double-word areas, timers and counters, else elements
//   read key     area code of the device whose data an area shares (see getPlcReg)
//   requester    ownerType and ownerId of a record: the object of the host that asked
//
// State. There is one driver in a process: everybody who loads this file shares PLC_driver,
// DataStorage and handshake. A host that needs several independent drivers loads a copy of the file
// for each (a file of another name, or an in-memory file; dlopen with RTLD_LOCAL).
//
// Threads. Exchange thread alone: ComCommunication, DataCom. Any thread: the other host
// calls, but AddListReadVar and the set-up calls only while the exchange loop is not
// running. Locks: docs/locks.md.
//
// Debug lines go out through qDebug, some of them while listMutex is held. A message handler
// (qInstallMessageHandler) must not call the driver: a call that takes a lock would never return.
//
// Unloading. Better leave the library loaded. A host that must unload it first ends its exchange
// thread, keeps its screens from calling, takes its callbacks back with
// RegistCallBackFuncIntf(nullptr, nullptr), and only then calls dlclose.
//
// Nothing here throws. Null pointers where a record, list, reply or buffer is expected: nothing is
// done, and 0 is returned where a value is returned.
#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QtGlobal>

#if defined(KV_BUILDING_DRIVER)
#define KV_API Q_DECL_EXPORT
#else
#define KV_API Q_DECL_IMPORT
#endif

// Hosts call these names: they are pinned, whatever our own dialect is.
// NOLINTBEGIN(readability-identifier-naming)

// -------------------------------------------------------------------------------------------------
// Area codes
// -------------------------------------------------------------------------------------------------

// Relays, one bit an element; integer address = channel * 16 + bit.
constexpr int AREA_R = 0;
constexpr int AREA_B = 1;
constexpr int AREA_MR = 2;
constexpr int AREA_LR = 3;
constexpr int AREA_CR = 4;
constexpr int AREA_VB = 5;
// Contacts of timers and counters, one byte (0 or 1) an element. Read only: with current and set
// value, in one request.
constexpr int AREA_T = 6;
constexpr int AREA_C = 7;
constexpr int AREA_CTH = 8;
constexpr int AREA_CTC = 9;
// Words.
constexpr int AREA_DM = 10;
constexpr int AREA_EM = 11;
constexpr int AREA_FM = 12;
constexpr int AREA_ZF = 13;
constexpr int AREA_W = 14;
constexpr int AREA_TM = 15;
// Double words: index registers, current and set values, trimmers.
constexpr int AREA_Z = 16;
constexpr int AREA_T_DWORD = 17;
constexpr int AREA_TS = 18;
constexpr int AREA_C_DWORD = 19;
constexpr int AREA_CS = 20;
constexpr int AREA_CTH_DWORD = 21;
constexpr int AREA_CTC_DWORD = 22;
constexpr int AREA_AT = 23;
// Words again.
constexpr int AREA_CM = 24;
constexpr int AREA_VM = 25;
// Relays as whole 16-bit channels.
constexpr int AREA_R_WORD = 26;
constexpr int AREA_B_WORD = 27;
constexpr int AREA_MR_WORD = 28;
constexpr int AREA_LR_WORD = 29;
constexpr int AREA_CR_WORD = 30;
constexpr int AREA_VB_WORD = 31;
// Single bits of words; integer address = word * 16 + bit.
constexpr int AREA_DM_BIT = 32;
constexpr int AREA_EM_BIT = 33;
constexpr int AREA_FM_BIT = 34;
constexpr int AREA_ZF_BIT = 35;
constexpr int AREA_W_BIT = 36;
constexpr int AREA_TM_BIT = 37;
constexpr int AREA_CM_BIT = 38;
constexpr int AREA_VM_BIT = 39;

// -------------------------------------------------------------------------------------------------
// Values with a meaning
// -------------------------------------------------------------------------------------------------

// Results of DataCom. Any other code is a failure after which the request was given up.
constexpr int kvFailed = 0;             ///< failed; the frame stays and will be sent again
constexpr int kvGood = 1;               ///< good, or nothing was in flight
constexpr int kvGoodUndecoded = 100;    ///< good; a remote area's reply, which is not decoded
constexpr int kvUnknownOutcome = 200;   ///< an outcome that has no code: a defect of the driver
constexpr int kvHandshakeRefused = 201; ///< the reply to the handshake was not "CC"

// Status of NotifyCallback.
constexpr int kvStatusDone = 1;
constexpr int kvStatusFailed = 2;

// RW_VAR::accessMode: what the reply to the request carries.
constexpr int kvReplyHasData = 0; ///< a read: data to store
constexpr int kvReplyIsShort = 1; ///< a write: "OK", or an error

// RW_VAR::preReadMark of the frame that reads the word whose single bit is about to be written.
constexpr int kvPreRead = -1;

// ComInfo::commMode: SetRegisterData sends to the PLC. With any other value it changes
// the store alone.
constexpr int kvSendWrites = 2;

// Mode of AddListWriteVar and AddListOnceReadVar: the record is appended exactly as it is.
constexpr int kvAppendUnchanged = 1;

// Flags of EnableEthernet and EnCommStation.
constexpr int kvStationOff = 0;
constexpr int kvStationOn = 1;

// PLC_driver.opKind: which list the request in flight came from.
constexpr int kvCyclicRead = 0;
constexpr int kvWrite = 1;
constexpr int kvOnceRead = 2;
constexpr int kvNoRequestYet = 100;

// -------------------------------------------------------------------------------------------------
// Records
// -------------------------------------------------------------------------------------------------

/// One variable request, copied by value into and out of the lists.
struct RW_VAR {
    int ownerType = 0;   ///< kind of host object that asked; 0..11 also choose the failure code
    int ownerId = 0;     ///< the host's id of that object; with ownerType it names the requester
    int accessMode = 0;  ///< kvReplyHasData for reads, kvReplyIsShort for writes
    int field3 = 0;      ///< copied along
    int linkId = 0;      ///< equal to ComInfo::localLinkId: the PLC on this link; else a remote area
    int result = 0;      ///< result of DataCom; meaningful in PLC_driver.currentVar only
    QString extraText;   ///< copied along
    QString addressText; ///< the address as the operator typed it
    int area = 0;        ///< area code 0..39
    int address = 0;     ///< integer address within the area (see StringAddressToInt)
    int station = 0;     ///< PLC station
    int count = 0;       ///< number of elements
    int preReadMark = 0; ///< kvPreRead in the first frame of a bit write, else 0
    int field13 = 0;     ///< copied along
    QByteArray data;     ///< values to write: 1 byte a bit, 2 a word, 4 a double word, low byte first
};

/// One request frame waiting in PLC_driver.frameQueue. The queue owns it; the host reads
/// it in place.
struct Protocol {
    QByteArray frame;      ///< bytes to send; empty when nothing can be sent for the request
    int frameLength = 0;   ///< how many of them to send
    int replyLength = 0;   ///< bytes that the PLC will answer, line end included; -1: any number
    int replyOffset = 0;   ///< where the data part begins in the reply; 0 from every builder
    int payloadLength = 0; ///< length of the data part (reads); the last value sent (word writes)
    RW_VAR var;            ///< what the frame asks for; see DataCom for each kind of request
    int extra1 = 0;        ///< the host's
    int extra2 = 0;        ///< the host's
    int extra3 = 0;        ///< the host's
};

/// Kept for hosts that share PLC_driver.extendList; the driver neither reads nor fills it.
struct EXTENDVAR {
    int value1 = 0, value2 = 0, value3 = 0;
    QByteArray data;
};

/// One cyclically read variable, as the host hands it to ReCreatReadVarList.
struct HOSTVAR {
    quint8 byte0 = 0;    ///< not read
    quint8 area = 0;     ///< area code 0..39
    quint8 station = 0;  ///< PLC station, 8 bits: 256 becomes 0; used when multiStation is not 0
    quint8 byte3 = 0;    ///< not read
    int word = 0;        ///< not read
    QString addressText; ///< the address as typed
    QString extraText;   ///< copied into the read block
    int count = 0;       ///< host units: two for each contact and each double word
};

/// A range that must exist in the store before it is touched (see checkTheStorage).
struct ControlInformationM {
    int station = 0; ///< PLC station
    int area = 0;    ///< area code 0..39, not a key
    int address = 0; ///< first element; for bit areas the bit number
    int count = 0;   ///< number of elements
};

/// The communication-settings block. The host owns it; the driver reads and writes it through the
/// pointer for as long as the library is loaded. 32-bit ints, word n at byte 4n; the host's block
/// may be longer. The driver accesses all words atomically, so that the host may read and write
/// them at any time.
///
/// When cycleDone becomes 1. The driver counts local requests that ended well: cyclic reads, and
/// writes and one-shot reads too. When one more has ended than readList has blocks, the count
/// starts again and cycleDone becomes 1. A ComCommunication that finds nothing to send sets it at
/// once. The driver sets it back to 0 after a failed reply and when the read list is rebuilt. After
/// a complete pass the host sets it back itself: while it is 1 nothing is counted.
struct ComInfo {
    int word0 = 0, word1 = 0, word2 = 0, word3 = 0; ///< the host's
    int maxBlockLength = 0;   ///< 4: most store units in one read block or write piece; below 1: 1.
                              ///< SetRegisterData writes 128 into it when it is larger
    int word5 = 0;            ///< the host's
    int defaultStation = 0;   ///< 6: station of every variable while multiStation is 0
    int maxRetries = 0;       ///< 7: how often a failed request is sent again
    int retryCount = 0;       ///< 8: failures so far. Only a give-up sets it back to 0: a host that counts
                              ///< for each request sets it to 0 after each good result
    int multiStation = 0;     ///< 9: 0: defaultStation for all; else each variable keeps its own station
    int stateWord10 = 0;      ///< 10: set to 0 by SetComInfo
    int framesPerRequest = 0; ///< 11: written: frames of the current request
    int framesDone = 0;       ///< 12: written: frames of it answered so far
    int stateWord13 = 0;      ///< 13: set to 0 by SetComInfo
    int remoteMode = 0;       ///< 14: not 0: requests go out as binary remote-area frames
    int localLinkId = 0;      ///< 15: linkId of variables of the PLC on this link
    int commMode = 0;         ///< 16: kvSendWrites, or SetRegisterData only changes the store
    int cycleDone = 0;        ///< 17: written: 1 after a full pass over the read list or when idle
    int callbackContext = 0;  ///< 18: first argument of the notify callback
};

// -------------------------------------------------------------------------------------------------
// Driver state
// -------------------------------------------------------------------------------------------------

/// A write or local one-shot read of a requester has ended. \a status kvStatusDone or
/// kvStatusFailed. The result is ignored. Runs inside DataCom with listMutex held: it must not call
/// the registration calls, SetRegisterData or ComCommunication; note what ended, and act later.
///
/// Failure is reported for each request, success only when no other entry of the same requester is
/// in the list. Give each call whose end matters an ownerId of its own. See SetRegisterData for why
/// "done" may come more than once.
using NotifyCallback = int (*)(int context, int ownerType, int ownerId, int status);

/// A request of any kind has been given up after its retries. \a list is empty, \a flag is 1. The
/// result is ignored. Runs inside DataCom with listMutex held, like NotifyCallback and after it.
///
/// A cyclic read that fails makes this call alone, and no argument says which place it was. Take
/// the place from the record that DataCom returns.
using ErrorCallback = int (*)(QList<RW_VAR> *list, int ownerType, int flag);

/// All driver state. Who guards what: listMutex the three lists, the turn counters and
/// currentVar.result; stationMutex stationMap; storeMutex DataStorage; storageControlMutex the
/// growing of one image. frameQueue belongs to the exchange thread.
class KV_API Communication_Protocol
{
public:
    ComInfo *comInfo = nullptr;              ///< null until SetComInfo
    QList<RW_VAR> readList;                  ///< cyclic read blocks, the next one first
    QList<RW_VAR> writeList;                 ///< pending writes
    QList<RW_VAR> onceReadList;              ///< pending one-shot reads
    QList<RW_VAR> spareList;                 ///< unused
    QList<Protocol> frameQueue;              ///< its head is the frame in flight
    QList<EXTENDVAR> extendList;             ///< unused
    NotifyCallback notifyCallback = nullptr; ///< not called while null
    ErrorCallback errorCallback = nullptr;   ///< not called while null
    QMutex listMutex;
    QMutex storeMutex;
    QMutex stationMutex;
    QMutex storageControlMutex;
    QMap<int, int> stationMap;   ///< keys are the switched-off stations; values are always 0
    RW_VAR currentVar;           ///< the request that ended last; its result belongs to the last reply
    int opKind = kvNoRequestYet; ///< kvWrite, kvOnceRead or kvCyclicRead
    int writeTurns = 0;          ///< writes in a row
    int onceReadTurns = 0;       ///< one-shot reads in a row
    int readsThisCycle = 0;      ///< finished local requests of this pass; accessed atomically
    quint8 lastFailed = 0;       ///< 1 after a failed reply, 0 after a good one; accessed atomically
    quint8 spareFlag = 0;        ///< unused
};

extern KV_API Communication_Protocol PLC_driver;

/// The store: station -> image key -> bytes of the device from its address 0 on. Words 2 bytes low
/// byte first, double words 4 bytes least significant first, contacts 1 byte. Only grows, never
/// past 64 MiB an image. Example: DM 100 of station 2 is DataStorage[2][10], bytes 200 and 201.
extern KV_API QMap<int, QMap<int, QByteArray>> DataStorage;

/// Per station: true while its link is open. Exchange thread only.
extern KV_API QMap<int, bool> handshake;

/// The host's own local areas as handed over by FlashLocalRegister; kept, never read.
extern KV_API void *LB, *LW, *RWI;

// -------------------------------------------------------------------------------------------------
// Identity: exported under plain names
// -------------------------------------------------------------------------------------------------

/// The ABI number of this header. It grows when a record, a call or the meaning of one changes.
constexpr int kvDriverAbi = 1;

extern "C" {

/// Who the library is: name, version, major version of its Qt, ABI number, separated by single
/// spaces. A host that loads the library at run time asks these three calls before any other. They
/// need no set-up, take no lock, and are safe on any thread and in a process that uses another Qt.
/// Every other call of a driver that was built for another Qt crashes the process.
/// \return a text that lives as long as the library.
/// Example: "Communication_Protocol 0.2.0 qt5 abi1"
KV_API const char *KvDriverIdentity();

/// \return major version of the Qt that the library was built with: 5 or 6. The host's own must
///         be the same.
KV_API int KvDriverQtMajor();

/// \return ABI number of the library. It must equal the kvDriverAbi that the host knows from here.
KV_API int KvDriverAbi();
}

// -------------------------------------------------------------------------------------------------
// Host interface: exported under plain names
// -------------------------------------------------------------------------------------------------
extern "C" {

/// Hands over the settings block; sets its words 10 and 13 to 0. May be called again with another
/// block. The block must outlive the library: make it static.
KV_API void SetComInfo(ComInfo *block);

/// Replaces both callbacks. A null callback is not called.
KV_API void RegistCallBackFuncIntf(NotifyCallback notify, ErrorCallback error);

/// Keeps the host's three local areas in LB, LW and RWI.
KV_API void FlashLocalRegister(void *lb, void *lw, void *rwi);

/// \return 1 at all times: the driver has no unfinished state to report.
KV_API int QueryFinishFlag();

/// Chooses what to send next: the frame in flight if there is one, else one new request. Writes
/// come before one-shot reads, and those before cyclic reads, at most five writes and five one-shot
/// reads in a row; variables of switched-off stations are skipped. Exchange thread. Takes
/// listMutex, and inside it stationMutex and, when a write is mirrored into the store, storeMutex.
/// \return address of the head Protocol of frameQueue, valid until the next DataCom; 0: nothing to
///         send this time. cycleDone is then 1, unless a request was dropped
///
/// 0 does not mean that nothing is waiting: after five writes (or one-shot reads) in a row, with
/// nothing to read, one call returns 0 as a pause, and so does a call that drops a write which no
/// frame can express. Ask again.
///
/// The first frame for a station is the handshake "CR\r\n" with the record of the request that is
/// waiting for it. The request itself comes with a later call.
/// Example: one cyclic read of DM 100, count 3, of a linked station:
/// frame "RDS DM100.U 3\r", replyLength 19.
KV_API quintptr ComCommunication();

/// Takes the reply to the frame in flight. Exchange thread. Takes storeMutex (inside listMutex for
/// the pre-read of a bit write) and, after its release, listMutex.
/// \param reply  the bytes received (may be empty)
/// \param length their number; 0: no reply came before the host's time-out. A frame whose
///               replyLength is 0 expects no reply: hand in any non-empty text such as "OK"
///               with length 0
/// \return address of PLC_driver.currentVar, whose result is the outcome; 0 if reply is null.
///         kvGood, kvGoodUndecoded: the frame is done. kvFailed: it will be sent again.
///         kvHandshakeRefused: the link is not open, the request waits. Given up, with the
///         requester's ownerType: 11..22 error reply, 41..52 no reply, 71..82 wrong length (remote
///         areas: 111..122, 141..152, 171..182)
///
/// Only result is about this reply in every case. The other fields are set when a request ends: by
/// the good reply to its last frame, or when it is given up. After kvFailed, after a handshake
/// (kvGood or kvHandshakeRefused) and after the first frame of a bit write (kvGood) they still
/// describe the request that ended before. The record of the frame that ComCommunication returned
/// describes the request in flight.
///
/// What the records say of a request (data is empty in currentVar):
///
///   request                       requester      area      address and count
///   cyclic read, rebuilt list     0, -1          read key  the block, in store units; the texts
///                                                          of the variable that opened it
///   one-shot read                 as registered  read key  the piece, in store units
///   write                         as given       as given  the piece, in elements; each bit is one
///   bit of a word, in its frames  as given       read key  the word and 1; first frame: kvPreRead
///   bit of a word, in currentVar  as given       as given  the bit and 1
///
/// A read list that is rebuilt while a cyclic read is in flight: the end of that read moves the
/// first new block to the end of the list, and the record describes that block.
///
/// A field of ten digits above 2147483647 is stored as 0, and the result is kvGood all the same.
/// Example: "00001 00002 65535\r\n", 19 -> kvGood, DM 100..102 are 1, 2, 65535.
KV_API quintptr DataCom(QByteArray *reply, int length);

/// Switches a station off (kvStationOff) or on (kvStationOn); a negative station switches all on;
/// other flags: nothing. Takes stationMutex. The variables of a switched-off station are skipped
/// and stay in their lists; nothing is reported for them. A frame in flight is not taken back.
/// Example: EnableEthernet(3, kvStationOff) skips the variables of station 3.
KV_API void EnableEthernet(int station, int flag);

/// The same operation as EnableEthernet under its second name.
KV_API void EnCommStation(int station, int flag);

/// Integer address of an operator's text, exactly as StringAddressToInt. Takes no lock.
/// Example: PLCAddressChangeIntef(AREA_R, "1012") is 172.
KV_API int PLCAddressChangeIntef(int area, QString addressText);

/// Appends a read block (store units) to readList as it is. Takes no lock: call it before the
/// exchange loop runs.
/// \return new length of readList
KV_API int AddListReadVar(RW_VAR *var);

/// Queues a write whose address is parsed already. Takes listMutex.
/// \param mode kvAppendUnchanged; else an entry after the head with the same station, area, address
///             and count is overwritten, and a list of 1024 entries takes no new one. The requester
///             of an overwritten entry hears nothing of it
/// \return length of writeList afterwards; it shows whether an entry was added, merged or dropped
KV_API int AddListWriteVar(RW_VAR *var, int mode);

/// Queues a one-shot read. Takes listMutex. A list of 1024 entries takes no new one, and an entry
/// that is already in the list is not added again; only the returned length shows it.
/// \param var  count in host units (two for each contact and double word); never changed
/// \param mode kvAppendUnchanged: appended as it is (store units, address parsed)
/// \return length of onceReadList afterwards; 0: unusable address, or no settings block
/// Example: DM "0", count 300, maxBlockLength 128 queues (0, 128), (128, 128), (256, 44).
KV_API int AddListOnceReadVar(RW_VAR *var, int mode);

/// Writes count elements from a screen. Takes listMutex, and storeMutex when the store is written.
/// \param area   any but the contacts 6..9
/// \param data   1 byte a bit, 2 a word, 4 a double word, low byte first; missing bytes count as 0
/// \param count  host units: bits, words, 16-bit registers for double-word areas; while commMode is
///               not kvSendWrites: elements, as data holds them
/// \return with commMode kvSendWrites the length of writeList after the last piece, 0 if there was
///         none (count below 1, a contact); with any other commMode 1: the store was written as
///         far as data reaches, and nothing is sent. 0: unusable address, or no settings block
///
/// A call becomes pieces: each bit, and up to maxBlockLength words or double words (128 at most; a
/// larger maxBlockLength in the host's block is set to 128 by this call). listMutex is released
/// between the pieces, so the exchange thread may finish the first before the last is queued. Then
/// "done" is reported before the call has ended, and more than once. A host that acts on "done"
/// makes each call one piece, or counts the writes of that requester which DataCom reports, one for
/// each piece of the call.
///
/// A bit of a word is not atomic: the driver reads the word, changes the bit and writes the word
/// back. What the PLC's program writes to that word in between is lost.
///
/// A double word above 2147483647 goes out with a minus sign, which a PLC may refuse. Check the
/// range before the call.
/// Example: SetRegisterData("", AREA_R, "1015", 1, "\1\1\1", 3, 0, 7) queues bits 175, 176 and 177.
KV_API int SetRegisterData(QString extraText, int area, QString addressText, int station, QByteArray data,
                           int count, int ownerType, int ownerId);

/// Replaces readList by as few blocks as serve the given variables (at most maxBlockLength store
/// units each; timers and counters one element each), ordered by station, key and address.
/// Variables with an unusable address are left out after a debug line. Holds listMutex throughout.
/// \param list  counts in host units: two for each contact (1 and 2 are one contact, 3 and 4 are
///              two) and for each double word. Stations have 8 bits
/// \return number of blocks; 0: empty input, nothing usable, or no settings block
/// Example: DM 0 +1, DM 10 +2, DM 63 +4, DM 200 +1 with 64 -> DM (0, 64), (64, 3), (200, 1).
KV_API int ReCreatReadVarList(QList<HOSTVAR> *list);

/// Copies values out of the store; never talks to the PLC. Takes storageControlMutex if an image
/// must grow, and after its release storeMutex.
/// \param out    cleared, then 1 byte a bit or contact, 2 a word, 4 a double word, low byte first
/// \param count  number of elements (here a double word counts once, and so does a contact)
/// \return 1 served; 0: the address is unusable (out holds count * 2 zero bytes), the answer would
///         pass 64 MiB (out empty), or no settings block
///
/// The store knows no age. What was never read is 0, the values of a lost PLC stay, and a written
/// value is there before the PLC has confirmed it. An area outside 0..39 is 1 too, with out empty
/// and one debug line: compare the size of out.
/// Example: GetRegisterData(0, AREA_DM, "100", 1, &out, 2) after 1 and 2 were read: 01 00 02 00.
KV_API int GetRegisterData(int unused, int area, QString addressText, int station, QByteArray *out,
                           int count);
}

// -------------------------------------------------------------------------------------------------
// Inside the driver: exported for tests and tools
// -------------------------------------------------------------------------------------------------

/// \return 0 at all times.
KV_API int getOffsetAddress(int address);

/// Copies every field but data; the target's data is emptied.
KV_API void passRetValue(const RW_VAR &from, RW_VAR &to);

/// \return 1 if the station is switched off, else 0. Takes stationMutex.
KV_API int Ethernetcontains(int station);

/// Driver return code of an outcome: 0 -> kvGood, 4 -> kvGoodUndecoded; 1, 2, 3, 5, 6, 7 ->
/// SwitchErrorReturn of 10, 40, 70, 110, 140, 170; any other kind -> kvUnknownOutcome.
KV_API int GetDriverReturnValue(int kind);

/// base + 1 + ownerType of the frame in flight if that is 0..11, else base + 1.
/// Example: 10, owner 11 -> 22.
KV_API int SwitchErrorReturn(int base);

/// \return 1 if the reply is 4 bytes long and begins with "CC", else 0.
KV_API int Handshake_Check(QByteArray *reply);

/// \return 0 error, empty, or nothing in flight; 1 data to store; 2 accepted without data ("OK", or
///         kvReplyIsShort). The size of the reply itself counts; \a length is not looked at.
KV_API int CheckGetData(QByteArray *reply, int length);

/// Checks and decodes the reply to a local frame.
/// \return driver return code; 0 with nothing in flight
KV_API int DealDataOfLocalArea(QByteArray *reply, int length);

/// The same for a remote-area frame, decoding only the pre-reads of bit writes.
/// \return driver return code
KV_API int DealDataOfRemoteArea(QByteArray *reply, int length);

/// Sum of the bytes, low 16 bits. Example: 300 bytes of 0xFF -> 10964.
KV_API quint16 CalSUM(const quint8 *bytes, quint16 length);

/// CRC-16/MODBUS. Example: "123456789" -> 0x4B37; no bytes -> 0xFFFF.
KV_API quint16 CalCRC(const quint8 *bytes, quint16 length);

/// Longitudinal check, 1..256. Example: 00 -> 256; 01 -> 255.
KV_API quint16 CalLRC(const quint8 *bytes, quint16 length);

/// XOR of the bytes; the first is read even when length is 0, so one byte must be readable.
KV_API quint16 CalXOR(const quint8 *bytes, quint16 length);

/// '0'..'9', 'A'..'F' of 0..15; not range-checked. Example: 10 -> 'A'; 16 -> 'G'.
KV_API int DigitalToASCII(int digit);

/// Digit of '0'..'9', 'A'..'F'; below '0' and '@' give 0, letters are not folded ('a' gives 42).
KV_API int ASCIIToDigital(int character);

/// Queues the read of a variable in store units, or the handshake if its station is not linked.
/// Example: area 16, address 5, count 2 -> "RDS Z5.D 2\r", replyLength 23.
KV_API void ReadRegister(RW_VAR *var);

/// Queues the read frame unconditionally; an area that cannot be read is logged and queues
/// an empty frame.
KV_API void ReadAnalog(RW_VAR *var);

/// Queues the frames of a write (or the handshake) and mirrors it into the store unless the last
/// request failed. Contacts 8, 9 and unknown areas: logged and removed from the head of writeList.
/// Example: AREA_EM_BIT, address 37 -> "RDS EM2.U 1\r", "WRS EM2.U 1 00000\r".
KV_API void WriteRegister(RW_VAR *var);

/// Queues exactly one write frame; an area without one is logged and queues an empty frame.
/// Example: AREA_DM, 200, count 2, data 34 12 01 00 -> "WRS DM200.U 2 04660 00001\r".
KV_API void WriteAnalog(RW_VAR *var);

/// \return 1 if the variable's station is linked; 0 if not, and then the handshake frame
///         has been queued.
KV_API unsigned ControlCenter(RW_VAR *var);

/// Queues "CR\r\n" for the variable's station.
KV_API void Handshake(RW_VAR *var);

/// Queues the 22-byte binary read request of a remote-area variable.
KV_API void Remote_ReadVar(RW_VAR *var);

/// Queues the binary write request (22 bytes and the data) and mirrors the value into the store.
KV_API void Remote_WriteVar(RW_VAR *var);

/// Integer address of an operator's text: "105" in AREA_R is channel 1, bit 5, so 21.
/// \param area  0..39; any other code fails
/// \param text  as typed; bit digits are not range-checked (on purpose: "1099" is 259)
/// \return      the address, or -1 after one debug line; any negative result means unusable
KV_API int StringAddressToInt(int area, QString text);

/// Turns area code and host units into read key and store units, in place.
/// \return 0 at all times
/// Example: R, address 175, count 2 -> key 0, address 10, count 2.
KV_API int updateRwVar(RW_VAR *var);

/// Sorts by address, ascending; equal addresses keep their order.
KV_API void Bubble_Sort(QList<RW_VAR> *list);

/// Lays one sorted group into blocks of at most maxLength units and appends them to readList. The
/// caller holds listMutex.
KV_API void BitVarReCreat_3(QList<RW_VAR> *list, int maxLength);

/// Read key of an area: 26 -> 0, 18 -> 6, 33 -> 11. A code outside 0..39 is logged
/// and returned unchanged.
KV_API int getPlcReg(int area);

/// Makes sure that the image of the range exists and is large enough. Takes storageControlMutex to
/// grow. Example: station 2, DM 100, count 5 -> DataStorage[2][10] has at least 210 bytes.
KV_API void checkTheStorage(ControlInformationM &range);

/// Decodes the reply to the frame in flight into the store. storeMutex is held by the caller
/// for local replies.
KV_API void SaveToLocalDataErea(QByteArray *reply);

/// Patches the queued word write of a single-bit write with the word just read. listMutex is held
/// by the caller, for the head of writeList.
KV_API void SpecialRegisterSave(QByteArray *reply);

/// Copies the values of a write into the store. Takes storeMutex.
/// Example: AREA_DM_BIT, address 175, data 01 -> bit 15 of DM 10 is set.
KV_API void WriteDataToLocal(RW_VAR *var);

// NOLINTEND(readability-identifier-naming)
