// SPDX-License-Identifier: MIT
// Makes a trend: from hours if its points are that wide, else from minutes, else from single rows.
// Hours and minutes are continued with the newest rows, which are not rolled up yet.
#pragma once

#include "database.h"
#include "records.h"
#include "roll_up.h"

namespace kvgateway
{

/// One trend, within a read transaction of its caller.
class TrendBuilder
{
public:
    /// \param tag its number in the database; 0: gaps only
    TrendBuilder(Database &database, qint64 tag, const TrendQuery &query);

    /// \return false if the database cannot be read
    bool build();
    Trend trend() const;

private:
    struct Stretch;

    void chooseSource();
    bool isOlderIn(const char *finer, const char *coarser);
    void setUnit(qint64 unit, TrendSource source);
    bool addStretches(const char *query);
    void addStretch(const Stretch &stretch, qint64 next);
    bool addNewest();
    bool addRows();
    RollUp rollUp(const Tip &tip);
    Tip loadTip();
    Bucket &at(qint64 start);

    Database &m_database;
    qint64 m_tag;
    qint64 m_wantedFrom;
    qint64 m_from = 0;
    qint64 m_to;
    qint64 m_points;
    qint64 m_unit = 1; ///< of what it is computed from
    qint64 m_width = 1;
    qint64 m_alive; ///< nothing is known of what came after it
    TrendSource m_source = TrendSource::Rows;
    Tip m_tip;
    std::vector<Bucket> m_buckets;
    Bucket m_outside; ///< takes what lies after the range
};

} // namespace kvgateway
