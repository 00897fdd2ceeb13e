// SPDX-License-Identifier: MIT
#include "event_stream.h"

#include "text/json_text.h"

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr kvlink::Duration silence = 5s;
constexpr kvlink::Duration askEvery = 1s;

QByteArray linkText(const LiveTable &table, const LinkChange &change)
{
    QByteArray text = "{\"plc\":";
    appendJson(text, table.plcs()[std::size_t(change.plc)]);
    text += R"(,"state":")" + kvlink::linkStateName(change.status.state).toLatin1() + R"(","problem":)";
    appendJson(text, change.status.problem);
    return text + "}";
}

} // namespace

EventStream::EventStream(TableSource tables, TagChoice choice, std::function<bool()> mayRead,
                         const QByteArray &lastId, const Clock &clock)
    : m_tables(std::move(tables)), m_choice(std::move(choice)), m_mayRead(std::move(mayRead)), m_clock(clock),
      m_lastId(lastId), m_lastAsked(clock.steady())
{
}

bool EventStream::mayGoOn()
{
    const auto now = m_clock.steady();
    if (now - m_lastAsked < askEvery)
        return true;
    m_lastAsked = now;
    return m_mayRead();
}

StreamSource::State EventStream::read(QByteArray &out)
{
    const auto now = m_clock.steady();
    if (!m_table || m_table->isClosed())
        begin(out, std::exchange(m_lastId, {}));
    const bool hasChanges = appendChanges(out);
    if (!hasChanges && out.isEmpty() && now - m_lastSent < silence)
        return State::Wait;
    if (out.isEmpty())
        out += "event: beat\ndata: {}\n\n";
    m_lastSent = now;
    return State::Data;
}

// A table that is closed and not replaced is that of a service that ends.
void EventStream::begin(QByteArray &out, const QByteArray &lastId)
{
    auto table = m_tables();
    if (table == m_table)
        return;
    m_table = std::move(table);
    const auto dash = lastId.lastIndexOf('-');
    bool isNumber = false;
    const quint64 seen = lastId.mid(dash + 1).toULongLong(&isNumber);
    const bool isKnown =
        dash > 0 && isNumber && lastId.left(dash) == m_table->run().toLatin1() && seen <= m_table->newest();
    m_seen = isKnown ? seen : 0;
    m_isWanted.assign(m_table->tags().size(), false);
    for (const int tag : m_choice.indexes(*m_table))
        m_isWanted[std::size_t(tag)] = true;
    out += "retry: 2000\nevent: hello\ndata: {\"run\":\"" + m_table->run().toLatin1() + R"(","replay":")" +
           (isKnown ? "all" : "snapshot") + "\"}\n\n";
}

bool EventStream::appendChanges(QByteArray &out)
{
    const Changes changes = m_table->changesAfter(m_seen, LiveTable::mostAtOnce);
    const bool isNew = changes.last > m_seen;
    m_seen = changes.last;
    const QByteArray id = "id: " + m_table->run().toLatin1() + "-" + QByteArray::number(m_seen) + "\n";
    QByteArray samples;
    for (const SampleChange &change : changes.samples) {
        if (!m_isWanted[std::size_t(change.tag)])
            continue;
        samples += samples.isEmpty() ? "{\"tag\":" : ",{\"tag\":";
        appendJson(samples, m_table->tags()[std::size_t(change.tag)].config.name);
        samples += ',';
        appendSample(samples, change.sample);
        samples += '}';
    }
    QByteArray links;
    for (const LinkChange &change : changes.links)
        links += (links.isEmpty() ? "" : ",") + linkText(*m_table, change);
    if (!links.isEmpty())
        out += (samples.isEmpty() ? id : QByteArray()) + "event: links\ndata: [" + links + "]\n\n";
    if (!samples.isEmpty())
        out += id + "event: samples\ndata: [" + samples + "]\n\n";
    return isNew && (!samples.isEmpty() || !links.isEmpty() || changes.more);
}

} // namespace kvgateway
