// SPDX-License-Identifier: MIT
// --simulate: a kv-sim of our own on a free port. It ends with us, whatever happens: when
// its stdin closes.
#pragma once

#include <QProcess>

#include <memory>
#include <optional>

namespace kvhost
{

class SimulatorChild
{
public:
    SimulatorChild();
    ~SimulatorChild();

    /// Starts it and waits until it can be used.
    /// \return its URL
    std::optional<QString> start(const QString &programFolder, QString &problem);

private:
    std::unique_ptr<QProcess> m_process;
};

} // namespace kvhost
