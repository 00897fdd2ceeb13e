// SPDX-License-Identifier: MIT
// One PLC with its lines, its clock and its files.
#include "shell/plc_unit.h"

#include "devices/memory_file.h"
#include "requests/assignment.h"
#include "shell/error_output.h"
#include "shell/input_files.h"

#include <QCoreApplication>

#include <cstdio>

namespace kvsim
{
namespace
{

constexpr std::uint32_t programScanMs = 10;

} // namespace

int fail(int code, const std::string &text)
{
    std::fprintf(stderr, "kv-sim: %s\n", text.c_str());
    return code;
}

void say(const std::string &text)
{
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

PlcUnit::PlcUnit(const Options &options)
    : m_options(options), m_simulator(options.rules),
      m_trace(options.trace), m_context{m_simulator,
                                        m_trace,
                                        options.lfEndsLine,
                                        options.remoteSilenceMs,
                                        options.clients,
                                        options.idleCloseMs,
                                        0,
                                        {}},
      m_desk(m_simulator, hooks())
{
    m_simulator.setDelay(options.delay);
    m_simulator.plc().setError(options.cpuError);
    m_simulator.plc().setWriteProtected(options.writeProtected);
    m_simulator.plc().setProgramMissing(options.programMissing);
    m_restart.setSingleShot(true);
    connect(&m_restart, &QTimer::timeout, this, [this] { nextRestartStep(); });
    m_scan.setTimerType(Qt::PreciseTimer);
    connect(&m_scan, &QTimer::timeout, this, [this] { m_simulator.plc().scan(); });
}

void PlcUnit::replay(const std::vector<RecordedEvent> &events, int plc)
{
    m_simulator.setReplay(Replay(events, std::uint32_t(plc)));
}

int PlcUnit::start()
{
    for (const auto step :
         {&PlcUnit::addFaults, &PlcUnit::fillMemory, &PlcUnit::loadProgram, &PlcUnit::openLines})
        if (const int code = (this->*step)(); code != 0)
            return code;
    if (m_options.scanMs > 0)
        setScan(m_options.scanMs);
    if (m_options.delay.seed)
        say("delay seed " + std::to_string(*m_options.delay.seed));
    return 0;
}

int PlcUnit::addFaults()
{
    for (const std::string &text : m_options.faults) {
        std::string problem;
        const FaultPlan::Entry *added = m_simulator.faults().add(text, problem);
        if (!added)
            return fail(exitUsage, "--fault: " + problem);
        say("fault " + std::to_string(added->id) + " " + added->fault.text());
    }
    return 0;
}

int PlcUnit::fillMemory()
{
    if (!m_options.load.empty())
        if (const std::string wrong = load(m_options.load); !wrong.empty())
            return fail(exitLine, wrong);
    for (const std::string &text : m_options.set) {
        const std::string wrong = assign(text, m_options.rules, m_simulator.plc().memory());
        if (!wrong.empty())
            return fail(exitUsage, "--set: " + wrong);
    }
    return 0;
}

int PlcUnit::loadProgram()
{
    if (m_options.program.empty())
        return 0;
    const std::string wrong = program(m_options.program);
    return wrong.empty() ? 0 : fail(exitLine, "--program: " + wrong);
}

int PlcUnit::openLines()
{
    int code = openTcp(m_options.tcp, Conversation::Speech::Lines, "tcp");
    if (code == 0)
        code = openTcp(m_options.remote, Conversation::Speech::RemoteRequests, "remote");
    for (const auto step : {&PlcUnit::openUdp, &PlcUnit::openSerial, &PlcUnit::openControl})
        if (code == 0)
            code = (this->*step)();
    return code;
}

int PlcUnit::openTcp(const std::vector<Address> &addresses, Conversation::Speech speech, const char *name)
{
    for (const Address &address : addresses) {
        m_tcp.push_back(std::make_unique<TcpLine>(m_context, speech));
        if (const QString wrong = m_tcp.back()->open(address); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString() + "; port 0 takes a free one");
        say("listening " + std::string(name) + " " + m_tcp.back()->address().toStdString());
    }
    return 0;
}

int PlcUnit::openUdp()
{
    for (const Address &address : m_options.udp) {
        m_udp.push_back(std::make_unique<UdpLine>(m_context));
        if (const QString wrong = m_udp.back()->open(address); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString() + "; port 0 takes a free one");
        say("listening udp " + m_udp.back()->address().toStdString());
    }
    return 0;
}

int PlcUnit::openSerial()
{
    for (const std::string &path : m_options.serial) {
        m_serial.push_back(std::make_unique<SerialLine>(m_context, m_options.baud));
        if (const QString wrong = m_serial.back()->open(QString::fromStdString(path)); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString());
        say("listening serial " + path);
    }
    return 0;
}

int PlcUnit::openControl()
{
    for (const Address &address : m_options.control) {
        m_control.push_back(
            std::make_unique<ControlLine>([this](std::string_view line) { return m_desk.run(line); }));
        if (const QString wrong = m_control.back()->open(address); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString() + "; port 0 takes a free one");
        say("listening control " + m_control.back()->address().toStdString());
    }
    return 0;
}

void PlcUnit::setScan(std::uint32_t milliseconds)
{
    if (milliseconds > 0)
        m_scan.start(int(milliseconds));
    else
        m_scan.stop();
}

std::string PlcUnit::save(const std::string &path)
{
    const std::string &file = path.empty() ? m_options.save : path;
    if (file.empty())
        return "no file is named, and kv-sim was started without --save";
    return saveMemory(QString::fromStdString(file), m_simulator.plc().memory(), m_options.model)
        .toStdString();
}

std::string PlcUnit::load(const std::string &path)
{
    return loadMemory(QString::fromStdString(path), m_simulator.plc().memory()).toStdString();
}

// An empty path: the fixed program again. A program needs scans, so it gets some if there are none.
std::string PlcUnit::program(const std::string &path)
{
    Plc &plc = m_simulator.plc();
    if (path.empty()) {
        plc.setProgram({});
        return {};
    }
    std::string problem;
    const auto rows = readProgram(path, m_options.rules, problem);
    if (!rows)
        return problem;
    plc.setProgram(*rows);
    if (!m_scan.isActive())
        setScan(programScanMs);
    return {};
}

std::string PlcUnit::listen(bool on)
{
    for (const auto &line : m_tcp) {
        if (!on)
            line->stopListening();
        else if (const QString wrong = line->reopen(); !wrong.isEmpty())
            return wrong.toStdString();
    }
    return {};
}

// Switched off: the port is closed, and connections get no answer and no end.
std::string PlcUnit::restart(std::uint32_t stepMs)
{
    m_restart.setInterval(int(stepMs));
    m_restartStep = 0;
    m_simulator.setStage(Stage::Silent);
    listen(false);
    m_restart.start();
    return {};
}

// Then it accepts connections but is silent, then refuses every request, then serves.
void PlcUnit::nextRestartStep()
{
    if (m_restartStep == 0) {
        if (const std::string wrong = listen(true); !wrong.empty()) {
            tellError("kv-sim: restart: " + wrong + "; trying again");
            return m_restart.start();
        }
        for (const auto &line : m_tcp) // after listening: who is reset may connect at once
            line->resetAll();
    } else if (m_restartStep == 1) {
        m_simulator.setStage(Stage::Starting);
    } else {
        return m_simulator.setStage(Stage::Running);
    }
    ++m_restartStep;
    m_restart.start();
}

ControlHooks PlcUnit::hooks()
{
    ControlHooks hooks;
    hooks.save = [this](const std::string &path) { return save(path); };
    hooks.load = [this](const std::string &path) { return load(path); };
    hooks.program = [this](const std::string &path) { return program(path); };
    hooks.setScan = [this](std::uint32_t milliseconds) { setScan(milliseconds); };
    hooks.restart = [this](std::uint32_t stepMs) { return restart(stepMs); };
    hooks.listen = [this](bool on) { return listen(on); };
    hooks.disconnect = [this] {
        for (const auto &line : m_tcp)
            line->disconnectAll();
    };
    // Queued, so that the answer to "stop" is still sent.
    hooks.stop = [this] {
        QMetaObject::invokeMethod(
            this, [] { quit(); }, Qt::QueuedConnection);
    };
    return hooks;
}

void PlcUnit::quit()
{
    QCoreApplication::quit();
}

int PlcUnit::end()
{
    m_scan.stop();
    say("statistics " + m_simulator.statisticsText());
    if (m_options.save.empty())
        return 0;
    const std::string wrong = save({});
    if (wrong.empty())
        return 0;
    tellError("kv-sim: " + wrong);
    return exitLine;
}

} // namespace kvsim
