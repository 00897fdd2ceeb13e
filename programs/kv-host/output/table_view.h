// SPDX-License-Identifier: MIT
// The live table of `watch` as lines: what is filtered, sorted, scrolled to, and in
// which colours. Pure.
#pragma once

#include "row.h"

#include <QStringList>

#include <vector>

namespace kvhost
{

struct TableRow {
    Row row;
    double age = -1.0;      ///< seconds since the answer that brought the value; below 0: none came
    bool isChanged = false; ///< within the last second
};

struct TableLink {
    QString text; ///< "tcp://192.168.0.10:8501  linked"
    bool isReady = false;
};

enum class TableOrder { AsGiven, ByName, ByQuality };

/// What the keys have changed.
struct TableState {
    QString filter; ///< of names, without regard to case; '*' and '?' as in patterns, else a part of the name
    bool isTyping = false; ///< the filter is being typed
    bool isHelp = false;
    TableOrder order = TableOrder::AsGiven;
    int top = 0; ///< first line of rows that is shown
};

/// "s" sorts, "/" begins a filter, arrows and pages scroll, "?" helps. \return false for "q"
bool takeKey(TableState &state, const QByteArray &key, int page);

/// A line with its colours as escape sequences; without them where the terminal has none.
/// \return at most \a height lines of at most \a width columns
QStringList tableLines(const std::vector<TableRow> &rows, const std::vector<TableLink> &links,
                       const QString &rates, TableState &state, int width, int height, bool hasColours);

/// "0.2 s", "12 s", "3 min", "2 h".
QString ageText(double seconds);

} // namespace kvhost
