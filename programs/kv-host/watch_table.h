// The live table of `watch`.
#pragma once

#include "link_keeper.h"
#include "output.h"
#include "statistics.h"

#include <vector>

namespace kvhost
{

struct TableRow {
    Row row;
    Clock::duration age{};
    bool changed = false; ///< within the last second
};

struct TableRates {
    double exchanges = 0.0, words = 0.0; ///< a second
    Ms asked{0};
};

/// The lines of the table, at most \a height of them and \a width characters each. Pure.
QStringList tableLines(const std::vector<TableRow> &rows, const QVector<LinkStatus> &links,
                       const Statistics &statistics, const TableRates &rates, int width, int height);

/// "0.2 s", "12 s", "3 min", "2 h".
QString ageText(Clock::duration age);

class WatchTable
{
public:
    void draw(const std::vector<TableRow> &rows, const QVector<LinkStatus> &links,
              const Statistics &statistics, const TableRates &rates);
    /// Leaves the table standing and the cursor below it.
    void finish();

private:
    int m_lines = 0;
};

} // namespace kvhost
