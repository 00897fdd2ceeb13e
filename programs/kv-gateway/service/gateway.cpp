// SPDX-License-Identifier: MIT
#include "gateway.h"

#include "log.h"

#include "config/config_file.h"
#include "config/shards.h"
#include "standby/postgresql_lock.h"

#include <QCoreApplication>
#include <QFile>
#include <QSysInfo>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr auto historyEvery = 50ms;
constexpr auto lastValuesEvery = 2s; // what changed since is all that a stop has to write
constexpr auto untilRestart = 500ms; // the answer to whoever asked for the reload leaves first

std::optional<Role> localRole(LocalAccess access)
{
    switch (access) {
    case LocalAccess::None:
        return std::nullopt;
    case LocalAccess::Viewer:
        return Role::Viewer;
    case LocalAccess::Operator:
        return Role::Operator;
    case LocalAccess::Engineer:
        return Role::Engineer;
    }
    return std::nullopt;
}

Retention retentionOf(const HistoryConfig &history)
{
    return {history.rows, history.minutes, history.hours, history.events, history.audit, history.size};
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

ServerSettings serverSettings(const ListenConfig &listen)
{
    ServerSettings settings;
    settings.address = listen.address;
    settings.port = listen.port;
    settings.mostConnections = listen.connections;
    settings.mostOfOnePeer = std::max(1, listen.connections / 2);
    if (listen.hasTls()) {
        settings.certificate = fileBytes(listen.certificate);
        settings.key = fileBytes(listen.key);
    }
    return settings;
}

// The library takes a certificate only together with a port: tried on one that nobody knows.
QString certificateProblem(const ListenConfig &listen)
{
    QString problem;
    if (!listen.hasTls())
        return problem;
    ServerSettings settings = serverSettings(listen);
    settings.address = QStringLiteral("127.0.0.1");
    settings.port = 0;
    HttpServer trial(settings, [](const Request & /*request*/, const std::shared_ptr<Reply> & /*reply*/) {});
    if (!trial.start(problem))
        return QStringLiteral(
                   "the certificate %1 and the key %2 cannot be used: are they PEM, and do they belong "
                   "together?")
            .arg(listen.certificate, listen.key);
    return {};
}

} // namespace

QString listenProblem(const ListenConfig &listen, bool hasUsers, bool isInsecure)
{
    if (listen.isLocal() || isInsecure)
        return {};
    if (!listen.hasTls())
        return QStringLiteral(
                   "listening on %1 needs TLS: give certificate and key in [listen], or start with "
                   "--insecure")
            .arg(listen.address);
    if (!hasUsers)
        return QStringLiteral("listening on %1 needs users: make one with kv-gateway user add, or start with "
                              "--insecure")
            .arg(listen.address);
    return {};
}

Gateway::Gateway(GatewayOptions options) : m_options(std::move(options)) {}

Gateway::~Gateway()
{
    stop();
}

std::optional<Config> Gateway::load(QStringList &problems) const
{
    LoadedConfig loaded = loadConfig(m_options.file, m_options.driver);
    for (const Problem &problem : loaded.problems)
        problems << problem.shown();
    QString problem;
    if (problems.isEmpty() && !chooseShard(loaded.config, m_options.shard, problem))
        problems << problem;
    return problems.isEmpty() ? std::optional(std::move(loaded.config)) : std::nullopt;
}

QStringList Gateway::start()
{
    QStringList problems;
    auto config = load(problems);
    if (!config)
        return problems;
    m_config = std::move(*config);
    return open();
}

QStringList Gateway::open()
{
    QString problem;
    StoreSettings settings;
    settings.folder = m_config.folder;
    settings.keepHistory = m_config.history.isKept;
    settings.retention = retentionOf(m_config.history);
    settings.onEvent = [](const EventRow &event) {
        logLine(LogLevel::Warning, event.cause.isEmpty() ? event.text : event.text + ": " + event.cause);
    };
    m_store = std::make_unique<Store>(settings, m_clock);
    if (!m_store->start(problem))
        return {problem};
    AccessSettings access;
    access.folder = m_config.folder;
    access.idle = m_config.access.idle;
    access.longest = m_config.access.longest;
    m_access = Access::open(access, m_clock, m_hasher, problem);
    if (!m_access)
        return {problem};
    QStringList problems = check(m_config);
    if (!problems.isEmpty())
        return problems;
    m_gate = std::make_unique<Gate>(*m_access);
    m_recorder = std::make_unique<Recorder>(*m_store);
    m_plant = std::make_unique<Plant>(*m_recorder);
    takeAccess(m_config);
    makeOutlets();
    restoreLastValues();
    m_api = std::make_unique<Api>(ApiParts{*m_plant, *m_store, *m_access, *m_gate, m_clock, m_config.folder,
                                           [this](const QString &who) { return reload(who); },
                                           [this] {
                                               m_counts.streams = m_server->streams();
                                               m_counts.outlets = m_outlets->status();
                                               m_counts.isOnDuty = isOnDuty();
                                               return m_counts;
                                           },
                                           [this]() -> const Config & { return m_config; },
                                           [this] { return dutyStatus(); }});
    const QString shard = m_config.shard.isEmpty() ? QString() : ", shard " + m_config.shard;
    const QString size = m_config.sizeText() + shard;
    problem = makeKeeper();
    if (!problem.isEmpty() || !startServer(problem) || !runAll(isOnDuty(), problem))
        return {problem};
    QObject::connect(&m_historyTimer, &QTimer::timeout, m_plant.get(), [this] { m_recorder->giveHistory(); });
    QObject::connect(&m_lastValuesTimer, &QTimer::timeout, m_plant.get(),
                     [this] { m_recorder->giveLastValues(); });
    m_historyTimer.start(historyEvery);
    m_lastValuesTimer.start(lastValuesEvery);
    m_counts.lastGoodReload = m_clock.wall();
    m_recorder->event(EventKind::Service, QStringLiteral("started"), size);
    if (m_keeper)
        m_keeper->start();
    if (m_options.isInsecure && !m_config.listen.isLocal())
        logLine(LogLevel::Warning,
                QStringLiteral("started with --insecure: other machines may come in without TLS or "
                               "users"));
    return {};
}

// On purpose the outlets get no values of an earlier run: they are nothing new.
bool Gateway::runAll(bool isOnDuty, QString &problem)
{
    const Config idle = isOnDuty ? Config() : idleConfig();
    const Config &now = isOnDuty ? m_config : idle;
    if (!m_plant->apply(now, problem))
        return false;
    m_outlets->apply(now);
    // Who may have to begin later needs them then.
    if (!m_keeper)
        m_config.forgetTags();
    return true;
}

// On purpose with the databases: rows that wait here would wait for the next time on duty, perhaps
// for weeks. Several gateways may fill one, while a broker takes each client once.
Config Gateway::idleConfig() const
{
    Config idle;
    idle.postgresql = m_config.postgresql;
    return idle;
}

// What the keeper says comes from its thread, and goes to that of the plant.
QString Gateway::makeKeeper()
{
    const PostgresqlConfig *database = m_config.standby();
    if (database == nullptr)
        return {};
    m_fuse = std::make_unique<KillFuse>();
    if (!m_fuse->isThere())
        return QStringLiteral("standby needs a timer, and the system gives none: raise the limit of pending "
                              "signals (ulimit -i)");
    const auto onPlant = [this](auto task) {
        return [this, task](const auto &...status) {
            QMetaObject::invokeMethod(
                m_plant.get(), [this, task, status...] { (this->*task)(status...); }, Qt::QueuedConnection);
        };
    };
    const DutyTiming timing;
    const QString us = QStringLiteral("kv-gateway on %1").arg(QSysInfo::machineHostName());
    m_keeper = std::make_unique<DutyKeeper>(
        std::make_unique<PostgresqlLock>(*database, m_config.shard, us, timing), m_dutyClock, *m_fuse,
        DutySinks{onPlant(&Gateway::beginDuty), onPlant(&Gateway::leaveDuty), onPlant(&Gateway::noteDuty)},
        timing);
    return {};
}

void Gateway::beginDuty()
{
    QString problem;
    restoreLastValues();
    m_isOnDuty = runAll(true, problem);
    if (m_isOnDuty)
        return;
    // Another gateway can do it, once the lock is free.
    m_recorder->event(EventKind::Service, QStringLiteral("cannot take over, and ends"), problem);
    QCoreApplication::exit(1);
}

// First what reaches PLCs. Once that has ended the kernel need not watch any more.
void Gateway::leaveDuty()
{
    m_recorder->giveLastValues();
    m_plant->stop();
    m_keeper->left();
    m_isOnDuty = false;
    QString problem;
    runAll(false, problem);
}

// On duty only when the tags are there, too.
DutyStatus Gateway::dutyStatus() const
{
    if (!m_keeper)
        return {};
    DutyStatus status = m_keeper->status();
    if (status.isOnDuty() && !m_isOnDuty)
        status.state = DutyState::TakesOver;
    return status;
}

void Gateway::noteDuty(const DutyStatus &status)
{
    struct Row {
        DutyState state;
        const char *text;
    };
    // clang-format off
    static constexpr Row rows[] = {
        {DutyState::Unreachable, "stands by; nobody says which gateway is on duty"},
        {DutyState::StandsBy,    "stands by"},
        {DutyState::TakesOver,   "takes over"},
        {DutyState::OnDuty,      "on duty: reads and writes the PLCs"},
        {DutyState::Leaves,      "off duty: the lock in the database is lost"},
    };
    // clang-format on
    const Row *row = std::find_if(std::begin(rows), std::end(rows),
                                  [&](const Row &one) { return one.state == status.state; });
    const QString cause = status.holder.isEmpty() ? status.problem : "for " + status.holder;
    m_recorder->event(EventKind::Service, QString::fromLatin1(row->text), cause);
}

QStringList Gateway::check(const Config &config) const
{
    QStringList problems;
    const bool hasUsers = !m_access->users().empty() || !m_access->tokens().empty();
    problems << listenProblem(config.listen, hasUsers, m_options.isInsecure)
             << certificateProblem(config.listen);
    problems.removeAll(QString());
    return problems;
}

QStringList Gateway::restartNeeded(const Config &config) const
{
    const ListenConfig &now = m_config.listen;
    const ListenConfig &next = config.listen;
    const struct {
        bool isOther;
        const char *what;
    } rows[] = {{config.folder != m_config.folder, "data"},
                {next.address != now.address, "address in [listen]"},
                {next.port != now.port, "port in [listen]"},
                {next.connections != now.connections, "connections in [listen]"},
                {next.hasTls() != now.hasTls(), "certificate in [listen]"},
                {config.history.isKept && !m_config.history.isKept, "enabled in [history]"},
                {config.access.idle != m_config.access.idle, "idle in [access]"},
                {config.access.longest != m_config.access.longest, "longest in [access]"}};
    const auto standbyOf = [](const Config &one) {
        return one.standby() == nullptr ? PostgresqlConfig() : *one.standby();
    };
    QStringList problems;
    if (!(standbyOf(config) == standbyOf(m_config)))
        problems << QStringLiteral(
                        "%1: the [[postgresql]] with standby is another one; that needs a restart of "
                        "the service")
                        .arg(config.file);
    for (const auto &row : rows) {
        if (row.isOther)
            problems << QStringLiteral("%1: a new \"%2\" needs a restart of the service")
                            .arg(config.file, QString::fromLatin1(row.what));
    }
    return problems;
}

QStringList Gateway::reload(const QString &who)
{
    QStringList problems;
    auto config = load(problems);
    if (config)
        problems = restartNeeded(*config) + check(*config);
    QString problem;
    if (problems.isEmpty() && isOnDuty() && !m_plant->apply(*config, problem))
        problems << problem;
    m_counts.isLastReloadGood = problems.isEmpty();
    if (!problems.isEmpty()) {
        m_recorder->event(EventKind::Reload,
                          QStringLiteral("the configuration has mistakes; the old one goes on"),
                          problems.join(QLatin1String("; ")));
        return problems;
    }
    m_config = std::move(*config);
    m_outlets->apply(isOnDuty() ? m_config : idleConfig(), m_plant->table().get());
    if (!m_keeper)
        m_config.forgetTags();
    m_counts.lastGoodReload = m_clock.wall();
    m_store->setRetention(retentionOf(m_config.history));
    takeAccess(m_config);
    // The files may hold a new certificate under the old names.
    if (m_config.listen.hasTls())
        QTimer::singleShot(untilRestart, m_plant.get(), [this] { restartServer(); });
    m_recorder->event(EventKind::Reload, QStringLiteral("reloaded"), who);
    return {};
}

bool Gateway::startServer(QString &problem)
{
    ServerSettings settings = serverSettings(m_config.listen);
    if (m_server) // a port that the system chose stays
        settings.port = m_server->port();
    m_waker = std::make_unique<StreamWaker>(*m_plant);
    m_server.reset();
    m_server = std::make_unique<HttpServer>(
        settings, [this](const Request &request, const std::shared_ptr<Reply> &reply) {
            m_api->handle(request, reply);
        });
    if (!m_server->start(problem))
        return false;
    m_waker->start(*m_server);
    return true;
}

void Gateway::restartServer()
{
    QString problem;
    if (!startServer(problem))
        m_recorder->event(EventKind::Service, QStringLiteral("the API is not there"), problem);
}

void Gateway::takeAccess(const Config &config)
{
    m_gate->set({config.listen.hosts, localRole(config.access.local)});
    m_recorder->setHistoryKept(config.history.isKept);
}

// What outlets say comes from their threads, and goes to that of the plant.
void Gateway::makeOutlets()
{
    const auto onPlant = [this](auto task) {
        QMetaObject::invokeMethod(m_plant.get(), std::move(task), Qt::QueuedConnection);
    };
    OutletSinks sinks;
    sinks.command = [this, onPlant](const WriteOrder &order, const WriteEnd &end) {
        onPlant([this, order, end] { m_plant->write(order, end); });
    };
    sinks.notice = [this, onPlant](const QString &text, const QString &cause) {
        onPlant([this, text, cause] { m_recorder->event(EventKind::Outlet, text, cause); });
    };
    m_outlets = std::make_unique<Outlets>(m_config.folder, m_clock, std::move(sinks));
    m_recorder->setOutlets(m_outlets.get());
}

void Gateway::restoreLastValues()
{
    QString problem;
    const auto reader = JournalReader::open(m_config.folder, problem);
    const auto values = reader ? reader->lastValues(problem) : std::nullopt;
    if (!values)
        return;
    QHash<QString, kvlink::Sample> samples;
    for (const LastValue &value : *values)
        samples.insert(value.tag, value.sample);
    m_plant->setLastSamples(std::move(samples));
}

// From the outside inwards: first nobody can ask for anything, then the links end, then what they
// left is written down.
void Gateway::stop()
{
    if (!m_plant)
        return;
    m_historyTimer.stop();
    m_lastValuesTimer.stop();
    m_waker.reset();
    m_server.reset();
    m_api.reset();
    m_recorder->giveLastValues();
    m_plant->stop();
    // Only now: the other gateway begins when it has the lock.
    if (m_keeper)
        m_keeper->stop();
    m_outlets->stop();
    m_recorder->event(EventKind::Service, QStringLiteral("stopped"));
    m_recorder->giveHistory();
    m_recorder->setOutlets(nullptr);
    m_outlets.reset();
    m_store->stop();
    m_plant.reset();
}

} // namespace kvgateway
