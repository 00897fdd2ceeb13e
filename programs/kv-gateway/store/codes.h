// SPDX-License-Identifier: MIT
// How qualities, reasons, outcomes and values lie in the databases. These numbers and names never
// change: files of years hold them.
#pragma once

#include "database.h"
#include "records.h"
#include "roll_up.h"

namespace kvgateway
{

int qualityCode(kvlink::Quality quality);
kvlink::Quality qualityFromCode(qint64 code); ///< of an unknown one: bad
int reasonCode(kvlink::Reason reason);
kvlink::Reason reasonFromCode(qint64 code); ///< of an unknown one: none

/// "no-link", "plc-error", ...; "" for none.
QString reasonName(kvlink::Reason reason);
kvlink::Reason reasonFromName(const QString &name);
kvlink::Quality qualityFromName(const QString &name);

/// "asked" for none, then as kvlink has them: "done", "refused", "not sent", "unknown".
QString outcomeCode(const std::optional<kvlink::Outcome> &outcome);
std::optional<kvlink::Outcome> outcomeFromCode(const QString &name);

/// Fills the tables `qualities` and `reasons`.
bool writeCodes(Database &history);

qint64 toMs(kvlink::WallTime time);
kvlink::WallTime fromMs(qint64 ms);

/// Binds shape and value to two parameters that follow each other.
void bindValue(Statement &statement, int shapeParameter, const kvlink::Value &value);
/// Reads them from two columns that follow each other.
kvlink::Value valueOf(const Statement &statement, int shapeColumn);
/// Reads a stretch of a roll-up from six columns: min, max, mean, good, count, last.
Bucket bucketOf(const Statement &statement, int firstColumn);
/// The number that is rolled up: bits are 0 and 1; texts and lists have none.
std::optional<double> numberOf(const kvlink::Value &value);

} // namespace kvgateway
