// SPDX-License-Identifier: MIT
#include "driver_test.h"

#include <mutex>
#include <ostream>
#include <sstream>

namespace
{
// Filled from Qt's message handler and the driver's callbacks, which are plain functions.
std::mutex recordMutex;
std::vector<std::string> recordedLines;
std::vector<std::string> recordedCallbacks;

void recordLine(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    const std::lock_guard<std::mutex> guard(recordMutex);
    const std::string kind = type == QtDebugMsg ? "" : "(not a debug message) ";
    recordedLines.push_back(kind + text.toStdString());
}

int recordNotify(int context, int ownerType, int ownerId, int status)
{
    const std::lock_guard<std::mutex> guard(recordMutex);
    recordedCallbacks.push_back("notify " + std::to_string(context) + " " + std::to_string(ownerType) + " " +
                                std::to_string(ownerId) + " " + std::to_string(status));
    return 0;
}

int recordError(QList<RW_VAR> *list, int ownerType, int flag)
{
    const std::lock_guard<std::mutex> guard(recordMutex);
    const char *shape = "null";
    if (list != nullptr)
        shape = list->isEmpty() ? "empty" : "filled";
    recordedCallbacks.push_back("error " + std::to_string(ownerType) + " " + std::to_string(flag) + " " +
                                shape);
    return 0;
}

void resetDriver()
{
    PLC_driver.comInfo = nullptr;
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
    PLC_driver.spareList.clear();
    PLC_driver.frameQueue.clear();
    PLC_driver.extendList.clear();
    PLC_driver.stationMap.clear();
    PLC_driver.notifyCallback = nullptr;
    PLC_driver.errorCallback = nullptr;
    PLC_driver.currentVar = RW_VAR();
    PLC_driver.opKind = 100;
    PLC_driver.writeTurns = 0;
    PLC_driver.onceReadTurns = 0;
    PLC_driver.readsThisCycle = 0;
    PLC_driver.lastFailed = 0;
    PLC_driver.spareFlag = 0;
    DataStorage.clear();
    handshake.clear();
    LB = LW = RWI = nullptr;
}

std::vector<std::string> take(std::vector<std::string> &record)
{
    const std::lock_guard<std::mutex> guard(recordMutex);
    std::vector<std::string> taken;
    taken.swap(record);
    return taken;
}
} // namespace

void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << '"' << bytes.toHex(' ').toUpper().constData() << "\" (" << bytes.size() << " bytes)";
}

void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

DriverTest::DriverTest() : m_previousHandler(qInstallMessageHandler(recordLine))
{
    resetDriver();
    take(recordedLines);
    take(recordedCallbacks);
    settings.maxBlockLength = 64;
    settings.defaultStation = 1;
    settings.maxRetries = 2;
    settings.multiStation = 1;
    settings.commMode = 2;
    settings.callbackContext = 77;
    SetComInfo(&settings);
    RegistCallBackFuncIntf(recordNotify, recordError);
}

DriverTest::~DriverTest()
{
    resetDriver();
    qInstallMessageHandler(m_previousHandler);
}

void DriverTest::TearDown()
{
    EXPECT_EQ(takeLines(), Lines()) << "debug lines that the test did not expect";
    EXPECT_EQ(takeCallbacks(), Lines()) << "callbacks that the test did not expect";
}

void DriverTest::link(int station)
{
    handshake[station] = true;
}

RW_VAR DriverTest::variable(int area, int address, int count, int station)
{
    RW_VAR var;
    var.ownerType = 5;
    var.ownerId = 50;
    var.area = area;
    var.address = address;
    var.count = count;
    var.station = station;
    return var;
}

RW_VAR DriverTest::write(int area, int address, int count, const char *dataHex, int station)
{
    RW_VAR var = variable(area, address, count, station);
    var.accessMode = 1;
    var.data = bytes(dataHex);
    return var;
}

RW_VAR DriverTest::numbered()
{
    RW_VAR var;
    var.ownerType = 1;
    var.ownerId = 2;
    var.accessMode = 3;
    var.field3 = 4;
    var.linkId = 5;
    var.result = 6;
    var.extraText = QStringLiteral("seven");
    var.addressText = QStringLiteral("eight");
    var.area = 9;
    var.address = 10;
    var.station = 11;
    var.count = 12;
    var.preReadMark = 13;
    var.field13 = 14;
    var.data = bytes("0F 10");
    return var;
}

std::string DriverTest::fields(const RW_VAR &var)
{
    std::ostringstream out;
    out << var.ownerType << ' ' << var.ownerId << ' ' << var.accessMode << ' ' << var.field3 << ' '
        << var.linkId << ' ' << var.result << " \"" << var.extraText.toStdString() << "\" \""
        << var.addressText.toStdString() << "\" " << var.area << ' ' << var.address << ' ' << var.station
        << ' ' << var.count << ' ' << var.preReadMark << ' ' << var.field13 << " <" << hex(var.data) << '>';
    return out.str();
}

QByteArray DriverTest::bytes(const char *hex)
{
    return QByteArray::fromHex(hex);
}

std::vector<std::string> DriverTest::takeLines()
{
    return take(recordedLines);
}

std::vector<std::string> DriverTest::takeCallbacks()
{
    return take(recordedCallbacks);
}

std::vector<std::string> DriverTest::frames()
{
    std::vector<std::string> texts;
    for (int i = 0; i < PLC_driver.frameQueue.size(); ++i)
        texts.push_back(PLC_driver.frameQueue.at(i).frame.toStdString());
    return texts;
}

std::string DriverTest::hex(const QByteArray &bytes)
{
    return bytes.toHex(' ').toUpper().toStdString();
}

std::string DriverTest::image(int station, int key)
{
    if (!DataStorage.contains(station) || !DataStorage.value(station).contains(key))
        return "absent";
    return hex(DataStorage.value(station).value(key));
}

std::string DriverTest::image(int station, int key, int first, int length)
{
    if (!DataStorage.contains(station) || !DataStorage.value(station).contains(key))
        return "absent";
    return hex(DataStorage.value(station).value(key).mid(first, length));
}

std::string DriverTest::send()
{
    const quintptr head = ComCommunication();
    if (head == 0)
        return "";
    const Protocol &frame = *reinterpret_cast<const Protocol *>(head);
    return frame.frame.left(frame.frameLength).toStdString();
}

int DriverTest::answer(const char *reply)
{
    QByteArray received(reply);
    return reinterpret_cast<const RW_VAR *>(DataCom(&received, int(received.size())))->result;
}

int DriverTest::noAnswer()
{
    QByteArray nothing;
    return reinterpret_cast<const RW_VAR *>(DataCom(&nothing, 0))->result;
}
