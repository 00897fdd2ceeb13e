// SPDX-License-Identifier: MIT
#include "metrics.h"

#include <QLocale>

namespace kvgateway
{

namespace
{

QByteArray numberText(double number)
{
    return QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
}

double secondsOf(kvlink::Duration duration)
{
    return std::chrono::duration<double>(duration).count();
}

// Names, help texts and values, in this order, as the format wants them.
class MetricsWriter
{
public:
    void begin(const char *name, const char *type, const char *help)
    {
        m_name = name;
        text += "# HELP " + m_name + " " + help + "\n# TYPE " + m_name + " " + type + "\n";
    }
    void value(double number, const QByteArray &labels = {}, const char *suffix = "")
    {
        text += m_name + suffix + (labels.isEmpty() ? QByteArray() : "{" + labels + "}") + " " +
                numberText(number) + "\n";
    }
    // One count for each bound alone, and one of what is above them all.
    template <typename Bounds, typename Counts>
    void histogram(const Bounds &bounds, const Counts &counts, double sum, const QByteArray &labels = {})
    {
        const QByteArray more = labels.isEmpty() ? labels : labels + ",";
        quint64 below = 0;
        for (std::size_t i = 0; i < bounds.size(); ++i) {
            below += counts[i];
            value(double(below), more + "le=\"" + numberText(bounds[i]) + "\"", "_bucket");
        }
        const auto all = double(below + counts[bounds.size()]);
        value(all, more + "le=\"+Inf\"", "_bucket");
        value(sum, labels, "_sum");
        value(all, labels, "_count");
    }

    QByteArray text;

private:
    QByteArray m_name;
};

struct PlcFigures {
    QByteArray label; // plc="line1"
    kvlink::LinkStatus link;
    kvlink::LinkStatistics statistics;
    QualityCounts qualities{};
};

using Figures = std::vector<PlcFigures>;

Figures figuresOf(const Plant &plant)
{
    Figures all;
    const auto table = plant.table();
    for (int i = 0; i < int(table->plcs().size()); ++i) {
        if (const kvlink::Plc *plc = plant.plc(i))
            all.push_back({"plc=\"" + table->plcs()[std::size_t(i)].toLatin1() + "\"", table->link(i),
                           plc->statistics(), table->qualities(i)});
    }
    return all;
}

struct CounterRow {
    const char *name;
    const char *help;
    quint64 kvlink::LinkStatistics::*count;
};

// clang-format off
constexpr CounterRow counterRows[] = {
    {"kvlink_requests_total", "Frames sent, greetings not counted.", &kvlink::LinkStatistics::requests},
    {"kvlink_answers_total", "Answers accepted.", &kvlink::LinkStatistics::answers},
    {"kvlink_repeats_total", "Requests sent again.", &kvlink::LinkStatistics::repeats},
    {"kvlink_link_losses_total", "How often the link was lost.", &kvlink::LinkStatistics::linkLosses},
    {"kvlink_missed_passes_total", "Reads that were due and not made.", &kvlink::LinkStatistics::missedPasses},
    {"kvlink_stray_bytes_total", "Bytes received that nobody asked for.", &kvlink::LinkStatistics::strayBytes},
    {"kvlink_sent_bytes_total", "Bytes sent.", &kvlink::LinkStatistics::bytesSent},
    {"kvlink_received_bytes_total", "Bytes received.", &kvlink::LinkStatistics::bytesReceived},
};

struct LabelRow {
    const char *label;
    quint64 kvlink::LinkStatistics::*count;
};

constexpr LabelRow failureRows[] = {
    {"reason=\"no_answer\"", &kvlink::LinkStatistics::noAnswers},
    {"reason=\"corrupted\"", &kvlink::LinkStatistics::corrupted},
    {"reason=\"plc_error\"", &kvlink::LinkStatistics::plcErrors},
};

constexpr LabelRow outcomeRows[] = {
    {"outcome=\"done\"", &kvlink::LinkStatistics::writesDone},
    {"outcome=\"refused\"", &kvlink::LinkStatistics::writesRefused},
    {"outcome=\"not_sent\"", &kvlink::LinkStatistics::writesNotSent},
    {"outcome=\"unknown\"", &kvlink::LinkStatistics::writesUnknown},
};
// clang-format on

void writeLinks(MetricsWriter &out, const Figures &all)
{
    out.begin("kvlink_link_up", "gauge", "1 while the link to the PLC is ready.");
    for (const PlcFigures &plc : all)
        out.value(plc.link.isReady() ? 1 : 0, plc.label);
    for (const CounterRow &row : counterRows) {
        out.begin(row.name, "counter", row.help);
        for (const PlcFigures &plc : all)
            out.value(double(plc.statistics.*row.count), plc.label);
    }
    out.begin("kvlink_request_failures_total", "counter", "Requests without a good answer, by reason.");
    for (const PlcFigures &plc : all) {
        for (const LabelRow &row : failureRows)
            out.value(double(plc.statistics.*row.count), plc.label + "," + row.label);
    }
    out.begin("kvlink_writes_total", "counter", "Writes that ended, by outcome.");
    for (const PlcFigures &plc : all) {
        for (const LabelRow &row : outcomeRows)
            out.value(double(plc.statistics.*row.count), plc.label + "," + row.label);
    }
}

void writeTimes(MetricsWriter &out, const Figures &all)
{
    std::vector<double> bounds;
    bounds.reserve(kvlink::answerTimeBounds.size());
    for (const kvlink::Duration bound : kvlink::answerTimeBounds)
        bounds.push_back(secondsOf(bound));
    out.begin("kvlink_request_duration_seconds", "histogram", "Time from a request to its answer.");
    for (const PlcFigures &plc : all)
        out.histogram(bounds, plc.statistics.answerCounts, secondsOf(plc.statistics.answerSum), plc.label);
}

void writeQualities(MetricsWriter &out, const Figures &all)
{
    out.begin("kvlink_tags", "gauge", "Tags by the quality of their value.");
    for (const PlcFigures &plc : all) {
        for (int quality = 0; quality < qualityCount; ++quality)
            out.value(double(plc.qualities[std::size_t(quality)]),
                      plc.label + ",quality=\"" + kvlink::qualityName(kvlink::Quality(quality)).toLatin1() +
                          "\"");
    }
}

void writeStore(MetricsWriter &out, const StoreStatus &store)
{
    out.begin("kvgateway_history_up", "gauge", "1 while history is kept.");
    out.value(store.history == HistoryState::Running ? 1 : 0);
    out.begin("kvgateway_history_rows_total", "counter", "Rows committed to the history.");
    out.value(double(store.historyRows));
    out.begin("kvgateway_history_dropped_rows_total", "counter", "Rows lost because too many waited.");
    out.value(double(store.droppedHistoryRows));
    out.begin("kvgateway_history_queued_rows", "gauge", "Rows that wait for the disk.");
    out.value(double(store.queuedHistoryRows));
    out.begin("kvgateway_audit_queued_rows", "gauge", "Rows of the record of writes that wait for the disk.");
    out.value(double(store.queuedAuditRows));
    out.begin("kvgateway_history_bytes", "gauge", "Size of the history.");
    out.value(double(store.historyBytes));
    out.begin("kvgateway_history_wal_bytes", "gauge", "Size of the write-ahead log of the history.");
    out.value(double(store.walBytes));
    out.begin("kvgateway_history_commit_duration_seconds", "histogram",
              "Time that commits of the history took.");
    out.histogram(CommitTimes::bounds, store.historyCommits.counts, store.historyCommits.sum);
}

void writeOutlets(MetricsWriter &out, const std::vector<OutletStatus> &outlets)
{
    struct Row {
        const char *name, *type, *help;
        double (*number)(const OutletStatus &outlet);
    };
    // clang-format off
    constexpr Row rows[] = {
        {"kvgateway_outlet_up", "gauge", "1 while the outlet has its connection.",
         [](const OutletStatus &o) { return o.state.isReady() ? 1.0 : 0.0; }},
        {"kvgateway_outlet_warning", "gauge", "1 while part of it does not work; the events say what.",
         [](const OutletStatus &o) { return o.state.warning.isEmpty() ? 0.0 : 1.0; }},
        {"kvgateway_outlet_disk_up", "gauge", "1 while the outlet's file on disk takes rows.",
         [](const OutletStatus &o) { return o.counts.diskProblem.isEmpty() ? 1.0 : 0.0; }},
        {"kvgateway_outlet_offered_rows_total", "counter", "Changes handed to the outlet.",
         [](const OutletStatus &o) { return double(o.offered); }},
        {"kvgateway_outlet_acknowledged_rows_total", "counter", "Rows that the other side has.",
         [](const OutletStatus &o) { return double(o.counts.acknowledged); }},
        {"kvgateway_outlet_refused_rows_total", "counter", "Rows that the other side refused; they are lost.",
         [](const OutletStatus &o) { return double(o.counts.refused); }},
        {"kvgateway_outlet_dropped_rows_total", "counter", "Rows lost beyond the limits of size, age and memory.",
         [](const OutletStatus &o) { return double(o.counts.dropped + o.lost); }},
        {"kvgateway_outlet_stored_rows", "gauge", "Rows on disk that the other side does not have yet.",
         [](const OutletStatus &o) { return double(o.counts.stored); }},
        {"kvgateway_outlet_stored_bytes", "gauge", "Size of what is stored.",
         [](const OutletStatus &o) { return double(o.counts.storedBytes); }},
        {"kvgateway_outlet_queued_rows", "gauge", "Rows in memory that wait for the outlet's thread.",
         [](const OutletStatus &o) { return double(o.queued); }},
        {"kvgateway_outlet_in_flight_rows", "gauge", "Rows sent and not acknowledged yet.",
         [](const OutletStatus &o) { return double(o.counts.inFlight); }},
    };
    // clang-format on
    for (const Row &row : rows) {
        out.begin(row.name, row.type, row.help);
        for (const OutletStatus &outlet : outlets)
            out.value(row.number(outlet), "outlet=\"" + outlet.name.toLatin1() + "\"");
    }
}

} // namespace

QByteArray metricsText(const Plant &plant, const StoreStatus &store, const GatewayCounts &counts)
{
    MetricsWriter out;
    out.begin("kvlink_build_info", "gauge", "Always 1; its labels say what runs.");
    out.value(1, "version=\"" + kvlink::version().toLatin1() + "\",qt=\"" + qVersion() + "\"");
    const Figures all = figuresOf(plant);
    writeLinks(out, all);
    writeTimes(out, all);
    writeQualities(out, all);
    writeStore(out, store);
    writeOutlets(out, counts.outlets);
    out.begin("kvgateway_on_duty", "gauge", "1 while this gateway reads its PLCs, 0 while it stands by.");
    out.value(counts.isOnDuty ? 1 : 0);
    out.begin("kvgateway_sse_clients", "gauge", "Readers of the event stream.");
    out.value(counts.streams);
    out.begin("kvgateway_config_last_reload_successful", "gauge",
              "1 if the last reload took the new configuration.");
    out.value(counts.isLastReloadGood ? 1 : 0);
    out.begin("kvgateway_config_last_reload_success_timestamp_seconds", "gauge",
              "When a configuration was taken last.");
    out.value(secondsOf(counts.lastGoodReload.time_since_epoch()));
    return out.text;
}

} // namespace kvgateway
