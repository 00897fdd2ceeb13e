// SPDX-License-Identifier: MIT
// What the files of the C face share.
#pragma once

#include "api/c_records.h"
#include "api/plc_core.h"

#include <kvlink/kvlink.h>

#include <QByteArrayList>

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
