// SPDX-License-Identifier: MIT
// An outlet whose other side is the test: it takes what there is room for, and acknowledges
// when told to.
#pragma once

#include "outlets/outlet.h"

#include <algorithm>
#include <utility>

namespace kvgateway
{

struct Offered {
    quint64 seq;
    std::string tag;
    qint64 value;
    OfferKind kind;
};

class FakeOutlet : public Outlet
{
public:
    void start(OutletEvents &events) override { m_events = &events; }
    void stop() override {}
    std::size_t offer(const std::vector<OutletRow> &rows, OfferKind kind) override
    {
        if (kind == OfferKind::Stored)
            room += std::exchange(roomForStored, 0);
        const std::size_t count = std::min(rows.size(), room);
        room -= count;
        for (std::size_t i = 0; i < count; ++i)
            taken.push_back({rows[i].seq, rows[i].tag.toStdString(), rows[i].sample.toInt(), kind});
        return count;
    }
    void note(OutletRow &row) override { noted += (noted.empty() ? "" : ", ") + row.tag.toStdString(); }
    bool wantsNewest(const QString &tag) const override { return tag != goneTag; }
    OutletState state() const override { return now; }

    void connect(bool wantsAll = false)
    {
        now.session = ++m_sessions;
        now.wantsAll = wantsAll;
    }
    void disconnect() { now.session = 0; }

    /// "live a.x=1, stored a.x=2": what was taken since the last call.
    std::string shown()
    {
        std::string text;
        for (; m_shown < taken.size(); ++m_shown) {
            const Offered &one = taken[m_shown];
            text += (text.empty() ? "" : ", ") +
                    std::string(one.kind == OfferKind::Live ? "live " : "stored ") + one.tag + "=" +
                    std::to_string(one.value);
        }
        return text;
    }
    /// The numbers of what was taken since the last call.
    std::vector<quint64> seqs()
    {
        std::vector<quint64> all;
        for (; m_given < taken.size(); ++m_given)
            all.push_back(taken[m_given].seq);
        return all;
    }

    OutletState now;
    QString goneTag;
    std::string noted;
    std::size_t room = 1000;
    std::size_t roomForStored = 0; ///< that comes with the next offer of stored rows
    std::vector<Offered> taken;

private:
    OutletEvents *m_events = nullptr;
    quint64 m_sessions = 0;
    std::size_t m_shown = 0;
    std::size_t m_given = 0;
};

} // namespace kvgateway
