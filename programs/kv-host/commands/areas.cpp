// SPDX-License-Identifier: MIT
// areas: the devices, how they are written down, and what can be done with them.
#include "commands.h"

#include "app/exit_code.h"
#include "app/write_guard.h"
#include "output/table.h"

#include <kvlink/text.h>

namespace kvhost
{

int runAreas(App &app)
{
    Table table({"device", "written as", "formats", "writing", "on a KV-8000", "what"});
    for (const kvlink::DeviceInfo &device : kvlink::deviceInfos()) {
        QString writing = QStringLiteral("no");
        if (device.isWritable)
            writing = isGuarded(device.name) ? QStringLiteral("with --force") : QStringLiteral("yes");
        table.add({device.name, device.writtenAs, device.formats, writing, device.range, device.what});
    }
    table.print(app.out);
    app.out.note("Ranges differ from model to model; the PLC answers E0 to a number that it lacks.");
    return ExitGood;
}

} // namespace kvhost
