// SPDX-License-Identifier: MIT
#include "api/write_frames.h"

namespace kvlink
{
namespace
{
constexpr int lineEnd = 2;

QByteArray usualAnswer(const QByteArray &frame, int replyLength)
{
    if (!frame.startsWith("RDS "))
        return "OK\r\n";
    return QByteArray(qMax(replyLength - lineEnd, 0), '0') + "\r\n";
}
} // namespace

QStringList framesOf(Driver &driver, const WriteUnits &write)
{
    QStringList frames;
    driver.beginWrite(write);
    while (!driver.frame().isEmpty()) {
        const QByteArray frame = driver.frame();
        frames << QString::fromLatin1(frame).trimmed();
        if (driver.answer(usualAnswer(frame, driver.replyLength())) != Driver::Result::NextFrame)
            break;
    }
    return frames;
}

} // namespace kvlink
