// SPDX-License-Identifier: MIT
#include "birth_count.h"

#include <QFile>
#include <QSaveFile>

namespace kvgateway
{

BirthCount::BirthCount(QString path) : m_path(std::move(path))
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    constexpr int mostDigits = 4;
    bool ok = false;
    const int number = file.read(mostDigits).trimmed().toInt(&ok);
    if (ok && number >= 0 && number <= std::numeric_limits<quint8>::max())
        m_next = quint8(number);
}

quint8 BirthCount::next()
{
    const quint8 number = m_next;
    set(quint8(number + 1)); // after 255 comes 0
    return number;
}

void BirthCount::giveBack()
{
    set(quint8(m_next - 1));
}

void BirthCount::set(quint8 number)
{
    m_next = number;
    QSaveFile file(m_path);
    const QByteArray text = QByteArray::number(number) + '\n';
    m_problem.clear();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        m_problem = QStringLiteral("%1 cannot be written (%2), so the number of the next connection may be "
                                   "one that was used: see to the disk of the gateway")
                        .arg(m_path, file.errorString());
}

} // namespace kvgateway
