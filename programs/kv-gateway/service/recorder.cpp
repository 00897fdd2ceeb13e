// SPDX-License-Identifier: MIT
#include "recorder.h"

#include "log.h"

namespace kvgateway
{

namespace
{

constexpr std::size_t mostRowsAtHand = 5000;
constexpr int mostSamplesAtHand = 20'000; // all tags at once, as when links come up, would take much memory

AuditRow auditRow(const WriteReport &report)
{
    AuditRow row;
    row.correlation = report.order.correlation;
    row.who = report.order.who;
    row.from = report.order.from;
    row.plc = report.plc;
    row.tag = report.order.tag;
    row.oldValue = report.oldValue;
    row.newValue = report.order.value;
    return row;
}

// The PLC has the link and does not give this one: a mistake in the tag file, not an outage.
bool isRefused(const kvlink::Sample &sample)
{
    using kvlink::Reason;
    return sample.quality == kvlink::Quality::Bad &&
           (sample.reason == Reason::PlcError || sample.reason == Reason::OutOfRange ||
            sample.reason == Reason::NotRepresentable);
}

} // namespace

void Recorder::sampleChanged(const TagConfig &tag, const kvlink::Sample &sample)
{
    noteQuality(tag, sample);
    m_lastSamples.insert(tag.name, sample);
    if (m_lastSamples.size() >= mostSamplesAtHand)
        giveLastValues();
    if (m_outlets != nullptr)
        m_outlets->offer(tag.name, sample);
    if (!tag.history || !m_isHistoryKept)
        return;
    m_rows.push_back({tag.name, sample});
    if (m_rows.size() >= mostRowsAtHand)
        giveHistory();
}

void Recorder::noteQuality(const TagConfig &tag, const kvlink::Sample &sample)
{
    const QString plc = tag.name.section('.', 0, 0);
    if (isRefused(sample) && !m_refusedTags.contains(tag.name)) {
        m_refusedTags.insert(tag.name);
        event(EventKind::Quality, QStringLiteral("%1 is bad").arg(tag.name), sample.reasonText(), plc,
              tag.name);
    } else if (sample.isGood() && m_refusedTags.remove(tag.name)) {
        event(EventKind::Quality, QStringLiteral("%1 is good again").arg(tag.name), {}, plc, tag.name);
    }
}

// A link that is lost goes round its states; only what is new is said.
void Recorder::linkChanged(const QString &plc, const kvlink::LinkStatus &status)
{
    if (m_outlets != nullptr)
        m_outlets->setLink(plc, status.isReady());
    if (!status.isReady() && status.problem.isEmpty())
        return;
    const QString text = status.isReady() ? QStringLiteral("link ready") : QStringLiteral("no link");
    const QString all = text + status.problem;
    if (std::exchange(m_linkTexts[plc], all) != all)
        event(EventKind::Link, text, status.problem, plc);
}

bool Recorder::writeAsked(const WriteReport &report)
{
    return m_store.addAudit(auditRow(report));
}

void Recorder::writeEnded(const WriteReport &report)
{
    AuditRow row = auditRow(report);
    row.time = report.time;
    row.outcome = report.outcome;
    row.reason = report.reason;
    row.text = report.text;
    m_store.addAudit(std::move(row));
    event(EventKind::Write,
          QStringLiteral("write of %1: %2").arg(report.order.tag, kvlink::outcomeName(report.outcome)),
          QStringLiteral("%1 from %2, %3").arg(report.order.who, report.order.from, report.text), report.plc,
          report.order.tag);
}

void Recorder::event(EventKind kind, const QString &text, const QString &cause, const QString &plc,
                     const QString &tag)
{
    EventRow row;
    row.kind = kind;
    row.plc = plc;
    row.tag = tag;
    row.text = text;
    row.cause = cause;
    m_store.addEvent(std::move(row));
    logLine(LogLevel::Info,
            (plc.isEmpty() ? QString() : plc + ": ") + text + (cause.isEmpty() ? QString() : ": " + cause),
            plc, tag);
}

void Recorder::giveHistory()
{
    if (!m_rows.empty())
        m_store.addHistory(std::exchange(m_rows, {}));
}

void Recorder::giveLastValues()
{
    std::vector<LastValue> values;
    values.reserve(std::size_t(m_lastSamples.size()));
    for (auto one = m_lastSamples.constBegin(); one != m_lastSamples.constEnd(); ++one) {
        if (one->hasValue())
            values.push_back({one.key(), *one});
    }
    m_lastSamples.clear();
    if (!values.empty())
        m_store.keepLast(values);
}

} // namespace kvgateway
