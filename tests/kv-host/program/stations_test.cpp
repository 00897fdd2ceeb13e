// Sixty-four PLCs at once: all are read, all are written, and no value of one appears at another.
#include "test_bench.h"

namespace
{

constexpr int STATIONS = 64;

QString number(int value)
{
    return QString::number(value);
}

/// So many PLCs in one kv-sim. In each, DM0 and the two words behind tell which one it is.
class Network
{
public:
    Network()
    {
        QStringList arguments = {"--plcs", number(STATIONS), "--tcp", "127.0.0.1:0"};
        for (int plc = 0; plc < STATIONS; ++plc)
            arguments
                << "--set"
                << QStringLiteral("%1/DM0=%2,%3,%4").arg(plc).arg(100 + plc).arg(200 + plc).arg(300 + plc);
        for (const QByteArray &line : m_simulator.start(arguments).split('\n')) {
            if (line.startsWith("listening tcp "))
                m_options << "--plc" << QStringLiteral("%1=tcp://").arg(m_options.size() / 2) + line.mid(14);
        }
    }

    /// --plc for each of them.
    const QStringList &options() const { return m_options; }

private:
    SimulatorProcess m_simulator;
    QStringList m_options;
};

/// What each station's word was told as, last of all; all of them good.
QMap<QByteArray, QByteArray> lastGood(const QByteArray &csv)
{
    QMap<QByteArray, QByteArray> values;
    for (const Told &told : toldIn(csv)) {
        EXPECT_EQ(told.quality, "good") << told.name.toStdString();
        values[told.name] = told.value;
    }
    return values;
}

TEST(ManyStations, keepTheirValuesApart)
{
    const Network network;
    ASSERT_EQ(network.options().size(), 2 * STATIONS);
    QStringList writes, words;
    QMap<QByteArray, QByteArray> wanted;
    for (int station = 0; station < STATIONS; ++station) {
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

    // Again and again, all within one pass.
    const Ended watched =
        run(network.options() + QStringList{"--format", "csv", "watch", "--every", "50ms", "--for", "500ms"} +
            words);
    EXPECT_EQ(watched.code, 0) << watched.err.toStdString();
    EXPECT_EQ(lastGood(watched.out), wanted);
    EXPECT_EQ(toldIn(watched.out).size(), wanted.size()) << "each value was told once, since none changed";
}

} // namespace
