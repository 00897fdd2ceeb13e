// SPDX-License-Identifier: MIT
// The link to one PLC of the plant: its tags in kvlink's hands, and their places in the table.
#pragma once

#include "live_table.h"

#include <kvlink/plc.h>

#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace kvgateway
{

/// What a PLC says of itself, as it answers; empty: not known.
struct PlcIdentity {
    QString model; ///< "57"
    QString mode;  ///< "1": RUN; "0": PROGRAM
    QString error; ///< "000": none
};

/// One thread, that of the plant.
class PlcLink
{
public:
    /// Builds the link, prepared; nothing is dialled yet.
    /// \return nullptr with a problem
    static std::unique_ptr<PlcLink> build(const PlcConfig &config, const LiveTable &table, QString &problem);
    ~PlcLink();

    /// Without tags: the table has them, and 100,000 need not be there twice.
    const PlcConfig &config() const { return m_config; }
    kvlink::Plc &plc() { return *m_plc; }

    /// Adds those tags of a new configuration that it does not have yet; the others go on.
    /// \param table in which its tags stand now
    /// \return false with a problem, and nothing was changed
    bool prepare(const PlcConfig &config, const LiveTable &table, QString &problem);
    /// Puts the prepared tags in place of the old ones; those that nobody wants any more go.
    void commit();
    /// Takes back what prepare() added.
    void rollBack();

    /// Its tags stand in the table from here on, in the order of the configuration.
    void setFirstIndex(int index) { m_firstIndex = index; }
    /// -1: no longer, or not yet, in the table
    int indexOf(kvlink::Tag tag) const;
    /// \param index in the table
    kvlink::Tag tagAt(int index) const { return m_tags[std::size_t(index - m_firstIndex)]; }

    /// The newest answers. Asks again, at most every 10 s.
    PlcIdentity identity(kvlink::SteadyTime now);

    /// Stops the link in a thread of its own, which takes up to 0.5 s and then calls \a
    /// whenStopped. A second call does nothing.
    void beginStop(std::function<void()> whenStopped);
    /// Waits for that thread.
    void endStop();
    /// Gives out the signals that wait: how the last writes ended.
    void giveLastSignals();

private:
    explicit PlcLink(const PlcConfig &config);

    void takeAnswer(const kvlink::QueryResult &result);

    const PlcConfig m_config;
    std::unique_ptr<kvlink::Plc> m_plc;
    std::vector<kvlink::Tag> m_tags; ///< in the order of the configuration
    std::vector<kvlink::Tag> m_nextTags;
    std::vector<kvlink::Tag> m_added;
    std::vector<std::pair<kvlink::Tag, int>> m_orders; ///< by tag: where it stands in the configuration
    int m_firstIndex = 0;
    PlcIdentity m_identity;
    QHash<kvlink::QueryId, QString PlcIdentity::*> m_questions; ///< on their way
    std::optional<kvlink::SteadyTime> m_askedAt;
    std::thread m_stopper;
};

} // namespace kvgateway
