// SPDX-License-Identifier: MIT
// `run`: the service, until TERM.
#include "commands.h"

#include "service/gateway.h"
#include "service/log.h"
#include "service/notify.h"
#include "service/unix_signals.h"

#include <QCoreApplication>

#include <malloc.h>

namespace kvgateway
{

namespace
{

// What reading a configuration takes goes back to the system. Left alone, glibc keeps pieces as
// large as the largest that was ever given back.
void giveLargePiecesBack()
{
#ifdef M_MMAP_THRESHOLD
    constexpr int largePiece = 128 * 1024;   // bytes
    ::mallopt(M_MMAP_THRESHOLD, largePiece); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
#endif
}

} // namespace

int runService(const CommandLine &line)
{
    giveLargePiecesBack();
    Gateway gateway({line.file, line.driver, line.shard, line.isInsecure});
    const UnixSignals signalsOfSystem([] { QCoreApplication::quit(); },
                                      [&gateway] {
                                          notifyManager("RELOADING=1");
                                          gateway.reload(QStringLiteral("HUP"));
                                          notifyManager("READY=1");
                                      });
    const QStringList problems = gateway.start();
    for (const QString &problem : problems)
        logLine(LogLevel::Error, problem);
    if (!problems.isEmpty())
        return 1;
    QTimer watchdog;
    if (const auto period = watchdogPeriod()) {
        QObject::connect(&watchdog, &QTimer::timeout, &watchdog, [] { notifyManager("WATCHDOG=1"); });
        watchdog.start(std::chrono::duration_cast<std::chrono::milliseconds>(*period / 2));
    }
    logLine(LogLevel::Info,
            QStringLiteral("listening on %1 port %2").arg(gateway.address()).arg(gateway.port()));
    notifyManager("READY=1");
    const int code = QCoreApplication::exec();
    notifyManager("STOPPING=1");
    gateway.stop();
    return code;
}

} // namespace kvgateway
