// SPDX-License-Identifier: MIT
// What an element of a drawing asks of its tag, against what the tag file says of it. A button that
// writes something else than its drawing says would move a machine.
#pragma once

#include "config.h"

namespace kvgateway
{

/// \param link of the PLC that has the tag
/// \return empty: the tag can do it. Else the element, what is wrong and what to write: <g
///   data-tag="line1.run" data-button="set 5">: the tag is a bit; write "set on" or "set off"
QString tagUseProblem(const TagUse &use, const TagConfig &tag, const kvlink::LinkSettings &link);

} // namespace kvgateway
