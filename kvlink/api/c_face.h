// SPDX-License-Identifier: MIT
// What the files of the C face share.
#pragma once

#include "api/c_records.h"
#include "api/plc_core.h"

#include <kvlink/kvlink.h>

#include <QByteArrayList>

// The numbers of the C face are frozen; those of the C++ face follow them.
// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): it takes names, which no function can
#define KV_SAME(c, cpp) static_assert(int(c) == int(kvlink::cpp))

/// The handle is the core, without Plc's signals.
struct kvlink_plc {
    explicit kvlink_plc(const kvlink::LinkSettings &settings) : core(settings) {}

    kvlink::PlcCore core;
};

namespace kvlink
{

/// Each keeps a text for kvlink_last_error and returns the error.
int notUsable();
int noSuchTag(kvlink_tag tag);
int failedWithoutLink(PlcCore &core);

/// KVLINK_OK if records of this version are known.
int checkVersion(uint32_t version);

/// KVLINK_OK if all of them exist.
int checkTags(kvlink_plc *plc, const kvlink_tag *tags, size_t count);

/// Fills a record with its beginning.
template <class Record>
int initialise(Record *record, uint32_t version, const Record &init)
{
    if (record == nullptr)
        return notUsable();
    if (const int error = checkVersion(version); error < 0)
        return error;
    *record = init;
    return KVLINK_OK;
}

/// The name of enumerator number \a value; the names live as long as the program.
template <class Enum>
const char *nameOf(int value, Enum last, QString (*name)(Enum))
{
    static const QByteArrayList names = [&] {
        QByteArrayList all;
        for (int i = 0; i <= int(last); ++i)
            all.append(name(Enum(i)).toUtf8());
        return all;
    }();
    return value >= 0 && value < int(names.size()) ? names.at(value).constData() : "unknown";
}

} // namespace kvlink
