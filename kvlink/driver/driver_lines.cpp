// SPDX-License-Identifier: MIT
// The driver's debug lines under a category of their own. See driver_lines.h.
#include "driver/driver_lines.h"

#include <QLoggingCategory>

namespace kvlink
{

namespace
{

Q_LOGGING_CATEGORY(driverCategory, "kvlink.driver", QtWarningMsg)

thread_local bool inDriver = false;

QtMessageHandler hostHandler = nullptr; // set once, before any line of a driver

void sortLine(QtMsgType type, const QMessageLogContext &context, const QString &line)
{
    if (!inDriver || type != QtDebugMsg) {
        hostHandler(type, context, line);
        return;
    }
    inDriver = false; // what is written now is kvlink's own
    qCDebug(driverCategory, "%s", qUtf8Printable(line));
    inDriver = true;
}

void installOnce()
{
    static const bool installed = [] {
        hostHandler = qInstallMessageHandler(sortLine);
        return true;
    }();
    Q_UNUSED(installed)
}

} // namespace

DriverCall::DriverCall()
{
    installOnce();
    inDriver = true;
}

DriverCall::~DriverCall()
{
    inDriver = false;
}

} // namespace kvlink
