// SPDX-License-Identifier: MIT
// Sixty-four PLCs at once: all are read, all are written, and no value of one appears at another.
#include "host_process.h"
#include "sim_process.h"

#include <gtest/gtest.h>
#include <QMap>

namespace
{

constexpr int stations = 64;

QString number(int value)
{
    return QString::number(value);
}

QStringList arguments()
{
    QStringList all = {"--plcs", number(stations), "--tcp", "127.0.0.1:0"};
    for (int plc = 0; plc < stations; ++plc)
        all << "--set"
            << QStringLiteral("%1/DM0=%2,%3,%4").arg(plc).arg(100 + plc).arg(200 + plc).arg(300 + plc);
    return all;
}

// So many PLCs in one kv-sim. In each, DM0 and the two words after it say which one it is.
class Network
{
public:
    Network() : m_simulator(arguments())
    {
        for (int plc = 0; plc < stations; ++plc)
            m_options << "--plc"
                      << QStringLiteral("%1=tcp://127.0.0.1:%2").arg(plc).arg(m_simulator.port("tcp", plc));
    }

    // --plc for each of them.
    const QStringList &options() const { return m_options; }

private:
    SimProcess m_simulator;
    QStringList m_options;
};

// The last value of each name; all of them good.
QMap<QByteArray, QByteArray> lastGood(const QByteArray &csv)
{
    QMap<QByteArray, QByteArray> values;
    for (const CsvRow &row : rowsOf(csv)) {
        EXPECT_EQ(row.quality, "good") << row.name.toStdString();
        values[row.name] = row.value;
    }
    return values;
}

TEST(ManyStations, keepTheirValuesApart)
{
    const Network network;
    QStringList writes, words;
    QMap<QByteArray, QByteArray> wanted;
    for (int station = 0; station < stations; ++station) {
        writes << QStringLiteral("%1/DM1=%2").arg(station).arg(40000 + station);
        words << QStringLiteral("%1/DM0:3").arg(station);
        const QByteArray name = QByteArray::number(station) + "/DM";
        wanted[name + "0"] = QByteArray::number(100 + station);
        wanted[name + "1"] = QByteArray::number(40000 + station);
        wanted[name + "2"] = QByteArray::number(300 + station);
    }
    const Ended written = run(network.options() + QStringList{"write", "--yes"} + writes);
    EXPECT_EQ(written.code, 0) << written.err.toStdString();

    const Ended read = run(network.options() + QStringList{"--format", "csv", "read"} + words);
    EXPECT_EQ(read.code, 0) << read.err.toStdString();
    EXPECT_EQ(lastGood(read.out), wanted);

    // Again and again. A pass that a busy machine delays by three periods would make values stale.
    const Ended watched =
        run(network.options() +
            QStringList{"--format", "csv", "watch", "--every", "500ms", "--for", "1200ms"} + words);
    EXPECT_EQ(watched.code, 0) << watched.err.toStdString();
    EXPECT_EQ(lastGood(watched.out), wanted);
    EXPECT_EQ(rowsOf(watched.out).size(), wanted.size()) << "each value was shown once, since none changed";
}

} // namespace
