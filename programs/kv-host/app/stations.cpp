// SPDX-License-Identifier: MIT
#include "stations.h"

#include "exit_code.h"
#include "output/side_note.h"

#include <algorithm>
#include <set>

namespace kvhost
{

namespace
{

constexpr int highestStation = 255;

bool takeNumber(QString &text, Station &station, QString &problem)
{
    const int equals = int(text.indexOf('='));
    const QString number = text.left(equals);
    // A '=' after the beginning of the URL is one of its parameters.
    if (equals < 0 || number.contains(':') || number.contains('/'))
        return true;
    bool ok = false;
    station.number = number.toInt(&ok);
    if (!ok || station.number < 0 || station.number > highestStation) {
        problem =
            QStringLiteral("'%1' is not a station: write a number from 0 to 255 before '='").arg(number);
        return false;
    }
    text = text.mid(equals + 1);
    return true;
}

} // namespace

QString Station::linkProblem() const
{
    const QString problem = plc->link().problem;
    return problem.isEmpty() ? QStringLiteral("no link") : QStringLiteral("no link: %1").arg(problem);
}

std::optional<Station> parseStation(const QString &text, QString &problem)
{
    Station station;
    QString url = text.trimmed();
    QString why;
    if (!takeNumber(url, station, why)) {
        problem = QStringLiteral("--plc %1: %2").arg(text, why);
        return std::nullopt;
    }
    // An address alone is what people type first.
    station.url = url.contains(QLatin1String("://")) ? url : QStringLiteral("tcp://%1").arg(url);
    return station;
}

bool Stations::number(QString &problem)
{
    std::set<int> taken;
    for (const Station &station : m_all) {
        if (station.number >= 0 && !taken.insert(station.number).second) {
            problem = QStringLiteral("station %1 is named twice with --plc").arg(station.number);
            return false;
        }
    }
    int next = 0;
    for (Station &station : m_all) {
        while (station.number < 0 && taken.contains(next))
            ++next;
        if (station.number < 0) {
            station.number = next;
            taken.insert(next);
        }
    }
    return true;
}

std::optional<int> Stations::make(const QStringList &texts, const kvlink::LinkSettings &settings,
                                  bool isTraced, QString &problem)
{
    for (const QString &text : texts) {
        std::optional<Station> station = parseStation(text, problem);
        if (!station)
            return ExitUsage;
        m_all.push_back(std::move(*station));
    }
    if (!number(problem))
        return ExitUsage;
    for (Station &station : m_all) {
        kvlink::LinkSettings own = settings;
        own.url = station.url;
        if (isTraced) {
            own.trace = [url = station.url](bool isSent, const QByteArray &bytes) {
                sideNote(
                    QStringLiteral("%1 %2 %3").arg(url, QLatin1String(isSent ? ">" : "<"), frameText(bytes)));
            };
        }
        station.plc = std::make_unique<kvlink::Plc>(own);
        problem = station.plc->problem();
        if (!problem.isEmpty())
            return station.plc->lacksDriver() ? ExitNoLink : ExitUsage;
    }
    return std::nullopt;
}

Station *Stations::find(int number)
{
    if (m_all.empty())
        return nullptr;
    if (number < 0)
        return &m_all.front();
    const auto found = std::find_if(m_all.begin(), m_all.end(),
                                    [number](const Station &one) { return one.number == number; });
    return found == m_all.end() ? nullptr : &*found;
}

void Stations::start()
{
    for (Station &station : m_all) {
        QObject::connect(station.plc.get(), &kvlink::Plc::linkChanged, station.plc.get(),
                         [&station](const kvlink::LinkStatus &status) {
                             if (status.isReady())
                                 station.failures = 0;
                             else if (status.state == kvlink::LinkState::Waiting)
                                 ++station.failures;
                         });
        station.plc->start();
    }
}

// All at once: each takes its half second beside the others.
void Stations::stop()
{
    for (Station &station : m_all)
        station.plc->stop();
}

} // namespace kvhost
