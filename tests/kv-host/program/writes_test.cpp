// SPDX-License-Identifier: MIT
// Writes whose answers are wrong: each ends in exactly one outcome, with its exit code, and what
// the PLC then holds is shown whatever the outcome was.
#include "host_process.h"
#include "simulated_plc.h"

#include <gtest/gtest.h>

namespace
{

struct RequestRow {
    const char *row;
    const char *assignment;
    const char *command;     // whose answer is wrong
    const char *look, *held; // what the PLC must hold after success
};

const RequestRow requestRows[] = {
    {"opening", "DM200=5", "CR", "get DM200", "00005"},
    {"read", "DM200=5", "RDS", "get DM200", "00005"},
    {"wordWrite", "DM200=5", "WRS", "get DM200", "00005"},
    {"relaySet", "R1015=1", "ST", "get R1015", "1"},
    {"relayReset", "R1014=0", "RS", "get R1014", "0"},
    {"bitOfWord", "DM105.3=1", "WRS", "get DM105", "00013"},
    {"bitOfWordReadFirst", "DM105.3=1", "RDS", "get DM105", "00013"},
    {"timer", "TS3=9", "WRS", "get TS3", "0000000009"},
};

// An error code is the PLC's own word: it is not asked again.
const char *const onceFaults[] = {"silent",      "late:450",     "short",    "long",         "torn",
                                  "garbled",     "doubled",      "split",    "close:before", "close:in",
                                  "close:after", "reset:before", "reset:in", "reset:after"};

class RequestMatrix : public testing::TestWithParam<RequestRow>
{
};

TEST_P(RequestMatrix, oneWrongAnswerIsOvercomeBySendingAgain)
{
    const RequestRow &row = GetParam();
    for (const char *fault : onceFaults) {
        SCOPED_TRACE(fault);
        SimulatedPlc plc({"--set", "DM105=5", "--set", "R1014=1", "--fault",
                          QStringLiteral("%1 cmd %2 times 1").arg(fault, row.command)});
        const Ended r = run(
            {"--plc", plc.url(), "--timeout", "300ms", "--format", "csv", "write", "--yes", row.assignment});
        EXPECT_EQ(r.code, 0) << r.out.toStdString() << r.err.toStdString();
        ASSERT_EQ(rowsOf(r.out).size(), 1);
        EXPECT_EQ(rowsOf(r.out)[0].outcome, "done");
        EXPECT_EQ(plc.control(row.look), row.held);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, RequestMatrix, testing::ValuesIn(requestRows),
                         [](const auto &row) { return std::string(row.param.row); });

struct OutcomeRow {
    const char *row;
    QStringList faults;
    const char *assignment;
    int code;
    const char *outcome;
    const char *value; // read back
    const char *text;
};

class Outcomes : public testing::TestWithParam<OutcomeRow>
{
};

TEST_P(Outcomes, areShownWithWhatThePlcHolds)
{
    const OutcomeRow &row = GetParam();
    QStringList arguments = {"--set", "DM200=1"};
    for (const QString &fault : row.faults)
        arguments << "--fault" << fault;
    const SimulatedPlc plc(arguments);
    const Ended r = run({"--plc", plc.url(), "--timeout", "100ms", "--retries", "1", "--format", "csv",
                         "write", "--yes", row.assignment});
    EXPECT_EQ(r.code, row.code) << r.out.toStdString() << r.err.toStdString();
    const QVector<CsvRow> rows = rowsOf(r.out);
    ASSERT_EQ(rows.size(), 1) << r.err.toStdString();
    EXPECT_EQ(rows[0].outcome, row.outcome);
    EXPECT_EQ(rows[0].value, row.value);
    EXPECT_TRUE(r.out.contains(row.text)) << r.out.toStdString();
}

const OutcomeRow outcomeRows[] = {
    {"done", {}, "DM200=5", 0, "done", "5", ",good,,done,\n"},
    {"refused", {"error:E4 cmd WRS"}, "DM200=5", 5, "refused", "1", "E4"},
    // The PLC carries it out; only the answer never comes.
    {"unknownButDone", {"silent cmd WRS"}, "DM200=5", 4, "unknown", "5", "may have been carried out"},
    {"unknownRelay", {"silent cmd ST"}, "R500=1", 4, "unknown", "1", "may have been carried out"},
    {"notSent", {"silent cmd RDS"}, "DM200=5", 3, "not sent", "", "nothing was sent"},
    {"notSentBitOfAWord", {"silent cmd RDS"}, "DM200.3=1", 3, "not sent", "", "nothing was sent"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Outcomes, testing::ValuesIn(outcomeRows),
                         [](const auto &row) { return std::string(row.param.row); });

// While the relay is on, the PLC stops answering reads.
TEST(ReadBack, thatFailsDoesNotLookLikeAFailedWrite)
{
    SimulatedPlc plc;
    HostProcess host({"--plc", plc.url(), "--timeout", "100ms", "--retries", "0", "--format", "csv", "write",
                      "--yes", "--pulse", "500ms", "R500"});
    while (host.end(5) == -1 && plc.control("get R500") != "1") {
    }
    plc.control("fault silent cmd RDS");
    EXPECT_EQ(host.end(), 1) << host.err().toStdString();
    ASSERT_EQ(rowsOf(host.out()).size(), 1) << host.out().toStdString();
    EXPECT_EQ(rowsOf(host.out())[0].outcome, "done");
    EXPECT_TRUE(host.out().contains("confirmed by the PLC, but not read back")) << host.out().toStdString();
}

TEST(Pulses, areNeverGivenTwice)
{
    SimulatedPlc plc({"--fault", "silent cmd ST times 1"});
    const Ended r = run({"--plc", plc.url(), "--timeout", "100ms", "--format", "csv", "write", "--yes",
                         "--pulse", "50ms", "R500"});
    EXPECT_EQ(r.code, 4) << r.out.toStdString() << r.err.toStdString();
    ASSERT_EQ(rowsOf(r.out).size(), 1);
    EXPECT_EQ(rowsOf(r.out)[0].outcome, "unknown");
}

TEST(Interrupted, writesSayWhichWereDone)
{
    SimulatedPlc plc({"--fault", "silent cmd ST"});
    HostProcess host({"--plc", plc.url(), "--timeout", "30s", "--format", "csv", "write", "--yes", "DM200=5",
                      "R500=1", "R501=1"});
    while (host.end(10) == -1 && plc.control("get R500") != "1") {
    }
    host.kill(SIGINT);
    EXPECT_EQ(host.end(5000), 130);
    const QVector<CsvRow> rows = rowsOf(host.out());
    ASSERT_EQ(rows.size(), 3) << host.out().toStdString() << host.err().toStdString();
    EXPECT_EQ(rows[0].outcome, "done");
    EXPECT_EQ(rows[1].outcome, "unknown");
    EXPECT_EQ(rows[2].outcome, "not sent");
}

} // namespace
