// SPDX-License-Identifier: MIT
// The driver's debug lines under a category of their own. See driver_lines.h.
#include "driver/driver_lines.h"

#include <QLoggingCategory>

#include <atomic>
#include <thread>

namespace kvlink
{

namespace
{

Q_LOGGING_CATEGORY(driverCategory, "kvlink.driver", QtWarningMsg)

thread_local bool inDriver = false;

std::atomic<QtMessageHandler> hostHandler{nullptr}; // set once

void handToHost(QtMsgType type, const QMessageLogContext &context, const QString &line)
{
    QtMessageHandler handler = nullptr;
    while ((handler = hostHandler.load()) == nullptr)
        std::this_thread::yield(); // another thread is between the two lines of installOnce
    handler(type, context, line);
}

void sortLine(QtMsgType type, const QMessageLogContext &context, const QString &line)
{
    if (!inDriver || type != QtDebugMsg)
        handToHost(type, context, line);
    else if (driverCategory().isDebugEnabled())
        handToHost(type, {context.file, context.line, context.function, driverCategory().categoryName()},
                   line);
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
