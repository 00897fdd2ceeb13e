// SPDX-License-Identifier: MIT
// A driver, a simulated PLC and the line between them. The test is the host: it sends what the
// driver hands out and hands back what the PLC answers. The PLC's memory is set and read
// directly, over the control connection.
//
//     begin(Wire::Tcp);
//     plcSet("DM100=1,2,65535");
//     read(AREA_DM, 100, 3);
//     EXPECT_EQ(exchange(), "CR -> CC = 1");
//     EXPECT_EQ(exchange(), "RDS DM100.U 3 -> 00001 00002 65535 = 1");
//     EXPECT_EQ(get(AREA_DM, "100", 3), "01 00 02 00 FF FF");
#pragma once

#include "driver_test.h"
#include "line.h"
#include "sim_process.h"

#include <QTemporaryDir>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

enum class Wire { Tcp, Terminal, Remote };

/// "Tcp", "Terminal", "Remote"
std::string nameOf(Wire wire);
void PrintTo(Wire wire, std::ostream *out);

constexpr int briefMs = 50; ///< long enough where nothing will come

class ExchangeTest : public DriverTest
{
protected:
    ExchangeTest();
    void TearDown() override;

    /// Starts the PLC with these switches and opens the line to it.
    void begin(Wire wire, const QStringList &switches = {});

    /// Opens the line again, as a host does after it was closed.
    void reopen();

    /// Expects the exchange that opens the link of station 1.
    void expectOpening();

    // --- the PLC, without the driver ---

    /// plcSet("DM100=1,2")
    void plcSet(const std::string &assignment);

    /// plcGet("DM100 2") is "00001 00002".
    std::string plcGet(const std::string &devices);

    /// plcFault("silent next 1 cmd RDS")
    void plcFault(const std::string &fault);

    /// One line to the control connection, and its answer.
    std::string plcAsk(const std::string &command);

    // --- what screens do ---

    /// A read block in store units of owner 5 / 50.
    static void read(int area, int address, int count, int station = 1);

    static int readOnce(int area, const char *address, int count, int ownerId);

    /// A write of owner 5 / ownerId; count in host units.
    static int writeValue(int area, const char *address, const char *dataHex, int count, int ownerId = 60);

    /// The variables of a screen, all of station 1. \return number of read blocks
    int showScreen(QList<HOSTVAR> variables);

    static HOSTVAR shown(int area, const char *address, int count);

    /// Values in the store, as hexadecimal.
    static std::string get(int area, const char *address, int count, int station = 1);

    // --- the host's loop ---

    /// One turn: "WRS DM1.U 1 00005 -> OK = 1", frame, answer and result of DataCom; "idle" if
    /// there was nothing to send. No answer at all shows as "(nothing)", one without CR LF as "000
    /// (no end)". Frames of remote areas show as hexadecimal, requests that expect no answer as
    /// "... -> (not waited for) = 100".
    /// \param timeoutMs  briefMs where the test knows that nothing will come (any more)
    /// \param awaited    bytes that come before that
    std::string exchange(int timeoutMs = patienceMs, int awaited = 0);

    /// As many turns as there are frames expected.
    void expectExchanges(const std::vector<std::string> &expected);

    std::unique_ptr<Line> line;
    bool keepsStaleBytes =
        false; ///< a careless host: leftovers of the last answer count as the answer to the next request

    /// Debug lines other than those of the handshake since the last call.
    std::vector<std::string> takeOtherLines();

    QTemporaryDir folder;

private:
    void hearLines();
    std::string shownFrame(const QByteArray &frame) const;

    Wire m_wire = Wire::Tcp;
    QString m_terminal;
    std::unique_ptr<SimProcess> m_plc;
    std::unique_ptr<Client> m_control;
    std::vector<std::string> m_otherLines;
};

/// The same test over both lines of the text protocol.
class OverBothLines : public ExchangeTest, public testing::WithParamInterface<Wire>
{
};

inline std::string nameOfWire(const testing::TestParamInfo<Wire> &info)
{
    return nameOf(info.param);
}

/// Rows that are tested over both lines.
template <class Row, class Base = ExchangeTest>
class RowsOverBothLines : public Base, public testing::WithParamInterface<std::tuple<Row, Wire>>
{
protected:
    const Row &row() const { return std::get<0>(this->GetParam()); }
    Wire wire() const { return std::get<1>(this->GetParam()); }
};

template <class Row>
std::string nameOfRowAndWire(const testing::TestParamInfo<std::tuple<Row, Wire>> &info)
{
    return std::string(std::get<0>(info.param).name) + "_" + nameOf(std::get<1>(info.param));
}

inline const auto bothLines = testing::Values(Wire::Tcp, Wire::Terminal);
