#include "program.h"

#include "assignment.h"
#include "memory_file.h"

#include <QCoreApplication>

#include <cstdio>

namespace
{

int fail(int code, const std::string &text)
{
    std::fprintf(stderr, "kv-sim: %s\n", text.c_str());
    return code;
}

} // namespace

void say(const std::string &text)
{
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

Program::Program(const Options &options)
    : options_(options), simulator_(options.rules),
      trace_(options.trace), exchange_{simulator_, trace_, options.lfEndsLine, options.remoteSilenceMs},
      desk_(simulator_, hooks())
{
    simulator_.setDelay(options.delay);
    simulator_.plc().setError(options.cpuError);
    scan_.setTimerType(Qt::PreciseTimer);
    connect(&scan_, &QTimer::timeout, this, [this] { simulator_.plc().scan(); });
}

int Program::start()
{
    for (const auto step : {&Program::addFaults, &Program::fillMemory, &Program::openLines})
        if (const int code = (this->*step)(); code != 0)
            return code;
    setScan(options_.scanMs);
    return 0;
}

int Program::addFaults()
{
    for (const std::string &text : options_.faults) {
        int id = 0;
        const std::string wrong = simulator_.faults().add(text, id);
        if (!wrong.empty())
            return fail(exitUsage, "--fault: " + wrong);
        say("fault " + std::to_string(id) + " " + simulator_.faults().entries().back().fault.text());
    }
    return 0;
}

int Program::fillMemory()
{
    if (!options_.load.empty())
        if (const std::string wrong = load(options_.load); !wrong.empty())
            return fail(exitLine, wrong);
    for (const std::string &text : options_.set) {
        const std::string wrong = kvsim::assign(text, options_.rules, simulator_.plc().memory());
        if (!wrong.empty())
            return fail(exitUsage, "--set: " + wrong);
    }
    return 0;
}

int Program::openLines()
{
    int code = openTcp(options_.tcp, Conversation::Speech::Lines, "tcp");
    if (code == 0)
        code = openTcp(options_.remote, Conversation::Speech::RemoteRequests, "remote");
    for (const auto step : {&Program::openUdp, &Program::openSerial, &Program::openControl})
        if (code == 0)
            code = (this->*step)();
    return code;
}

int Program::openTcp(const std::vector<Address> &addresses, Conversation::Speech speech, const char *name)
{
    for (const Address &address : addresses) {
        tcp_.push_back(std::make_unique<TcpLine>(exchange_, speech));
        if (const QString wrong = tcp_.back()->open(address); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString() + "; port 0 takes a free one");
        say("listening " + std::string(name) + " " + tcp_.back()->address().toStdString());
    }
    return 0;
}

int Program::openUdp()
{
    for (const Address &address : options_.udp) {
        udp_.push_back(std::make_unique<UdpLine>(exchange_));
        if (const QString wrong = udp_.back()->open(address); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString() + "; port 0 takes a free one");
        say("listening udp " + udp_.back()->address().toStdString());
    }
    return 0;
}

int Program::openSerial()
{
    for (const std::string &path : options_.serial) {
        serial_.push_back(std::make_unique<SerialLine>(exchange_, options_.baud));
        if (const QString wrong = serial_.back()->open(QString::fromStdString(path)); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString());
        say("listening serial " + path);
    }
    return 0;
}

int Program::openControl()
{
    for (const Address &address : options_.control) {
        control_.push_back(std::make_unique<ControlLine>(desk_));
        if (const QString wrong = control_.back()->open(address); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString() + "; port 0 takes a free one");
        say("listening control " + control_.back()->address().toStdString());
    }
    return 0;
}

void Program::setScan(std::uint32_t milliseconds)
{
    if (milliseconds > 0)
        scan_.start(static_cast<int>(milliseconds));
    else
        scan_.stop();
}

std::string Program::save(const std::string &path)
{
    const std::string &file = path.empty() ? options_.save : path;
    if (file.empty())
        return "no file is named, and kv-sim was started without --save";
    return kvsim::saveMemory(QString::fromStdString(file), simulator_.plc().memory(), options_.model)
        .toStdString();
}

std::string Program::load(const std::string &path)
{
    return kvsim::loadMemory(QString::fromStdString(path), simulator_.plc().memory()).toStdString();
}

std::string Program::listen(bool on)
{
    for (const auto &line : tcp_) {
        if (!on)
            line->stopListening();
        else if (const QString wrong = line->reopen(); !wrong.isEmpty())
            return wrong.toStdString();
    }
    return {};
}

kvsim::ControlHooks Program::hooks()
{
    kvsim::ControlHooks hooks;
    hooks.save = [this](const std::string &path) { return save(path); };
    hooks.load = [this](const std::string &path) { return load(path); };
    hooks.setScan = [this](std::uint32_t milliseconds) { setScan(milliseconds); };
    hooks.listen = [this](bool on) { return listen(on); };
    hooks.disconnect = [this] {
        for (const auto &line : tcp_)
            line->disconnectAll();
    };
    // Queued, so that the answer to "stop" is still sent.
    hooks.stop = [this] {
        QMetaObject::invokeMethod(
            this, [] { quit(); }, Qt::QueuedConnection);
    };
    return hooks;
}

void Program::quit()
{
    QCoreApplication::quit();
}

int Program::end()
{
    scan_.stop();
    say("statistics " + simulator_.statisticsText());
    if (options_.save.empty())
        return 0;
    const std::string wrong = save({});
    return wrong.empty() ? 0 : fail(exitLine, wrong);
}
