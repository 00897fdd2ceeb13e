// SPDX-License-Identifier: MIT
// The tag file of a PLC: as kv-host reads it, with columns of the service.
//
//   period, group, history, min, max, on_change, confirm, button
#pragma once

#include "config.h"
#include "problem.h"

#include <tags/tag_file.h>

namespace kvgateway
{

/// The columns beside those of kv-host.
QStringList gatewayColumns();

/// Appends the tags of a file to those of a PLC. Bad lines are noted, the others taken.
/// \param path   absolute
/// \param period of tags that name none
void readTags(PlcConfig &plc, const QString &path, kvtags::FileEncoding encoding, kvlink::Duration period,
              Problems &problems);

/// The same of a file that was read already.
void takeTags(PlcConfig &plc, const QString &path, const kvtags::TagFile &file, kvlink::Duration period,
              Problems &problems);

} // namespace kvgateway
