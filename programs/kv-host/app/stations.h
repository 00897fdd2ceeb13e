// SPDX-License-Identifier: MIT
// The PLCs of the command line, each with a number.
#pragma once

#include "options.h"

#include <kvlink/plc.h>

#include <memory>
#include <vector>

namespace kvhost
{

struct Station {
    int number = -1; ///< 0 to 255
    QString url;
    std::unique_ptr<kvlink::Plc> plc;
    int failures = 0; ///< attempts to link since the link was ready last

    /// "no link: connection refused", with the reason that the link gives.
    QString linkProblem() const;
};

/// "3=tcp://HOST", "192.168.0.10": the number that was given, or -1, and the URL with its scheme.
/// \param problem set on failure only
std::optional<Station> parseStation(const QString &text, QString &problem);

class Stations
{
public:
    /// \param isTraced all bytes go to stderr
    /// \return an exit code after which nothing works, with a problem
    std::optional<int> make(const QStringList &texts, const kvlink::LinkSettings &settings, bool isTraced,
                            QString &problem);

    std::vector<Station> &all() { return m_all; }
    const std::vector<Station> &all() const { return m_all; }
    bool isEmpty() const { return m_all.empty(); }
    /// Null if there is none. \param number -1: the first
    Station *find(int number);
    /// With one PLC its number is not shown.
    bool areNumbersShown() const { return m_all.size() > 1; }

    void start();
    void stop();

private:
    bool number(QString &problem);

    std::vector<Station> m_all; ///< does not move after make()
};

} // namespace kvhost
