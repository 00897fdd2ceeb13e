// SPDX-License-Identifier: MIT
// The stream of changes for one reader, as server-sent events:
//
//     retry: 2000
//     event: hello                  always first; "snapshot": all follows, forget the rest
//     data: {"run":"7f3a","replay":"all"}
//
//     id: 7f3a-18214
//     event: samples
//     data: [{"tag":"line1.speed","value":1480,"quality":"good","time":"2026-05-04T08:15:02.113Z"}]
//
//     event: links
//     data: [{"plc":"line1","state":"ready","problem":""}]
//
//     event: beat                   after 5 s of silence
//     data: {}
#pragma once

#include "message.h"
#include "tag_choice.h"

#include "store/clock.h"

namespace kvgateway
{

class EventStream : public StreamSource
{
public:
    using TableSource = std::function<std::shared_ptr<LiveTable>()>;

    /// \param mayRead whether the reader still may; asked every second
    /// \param lastId of the last event that the reader has; empty: the first time
    /// \param clock outlives the stream
    EventStream(TableSource tables, TagChoice choice, std::function<bool()> mayRead, const QByteArray &lastId,
                const Clock &clock);

    bool mayGoOn() override;
    State read(QByteArray &out) override;

private:
    void begin(QByteArray &out, const QByteArray &lastId);
    bool appendChanges(QByteArray &out);

    TableSource m_tables;
    TagChoice m_choice;
    const std::function<bool()> m_mayRead;
    const Clock &m_clock;
    QByteArray m_lastId;
    std::shared_ptr<LiveTable> m_table;
    std::vector<bool> m_isWanted; ///< by tag
    quint64 m_seen = 0;
    kvlink::SteadyTime m_lastSent{};
    kvlink::SteadyTime m_lastAsked;
};

} // namespace kvgateway
