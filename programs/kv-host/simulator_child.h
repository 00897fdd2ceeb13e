// --simulate: a kv-sim of our own on a free port. It ends with us, whatever happens: when its stdin closes.
#pragma once

#include "plc_url.h"

#include <QProcess>

#include <memory>

namespace kvhost
{

class SimulatorChild
{
public:
    SimulatorChild();
    ~SimulatorChild();

    /// Starts it and waits until it can be used.
    std::optional<PlcUrl> start(const QString &programFolder, QString *problem);

private:
    std::unique_ptr<QProcess> m_process;
};

} // namespace kvhost
