// SPDX-License-Identifier: MIT
#include "mosquitto_client.h"

#include "back_off.h"
#include "first_line.h"

#include <QFile>

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <memory>
#include <mutex>
#include <poll.h>
#include <random>
#include <sys/eventfd.h>
#include <unistd.h>
#include <unordered_map>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr auto firstBackOff = 1000ms;
constexpr auto answerToConnect = 10s; // of the broker; then it is given up
constexpr auto longestGoodbye = 300ms;
constexpr auto longestStop = 600ms;
constexpr int pollMs = 500; // the library looks at its keepalive so often
constexpr int mostReads = 1000;
constexpr std::size_t mostInFlight = 2000;
constexpr quint32 sessionSeconds = 24 * 60 * 60; // the broker remembers us for so long
constexpr int failureCodes = 0x80;               // reason codes from here on are failures

void initLibrary()
{
    static const int result = mosquitto_lib_init(); // once: it knows no threads
    (void)result;
}

} // namespace

// What the client and its thread share: the thread may outlive the client while it waits for the
// name of a broker, or for a machine that does not answer.
struct MosquittoClient::Shared {
    Shared(BrokerConfig given, MosquittoOptions givenOptions)
        : config(std::move(given)), options(givenOptions)
    {
    }
    ~Shared() { ::close(wakeUp); }
    Shared(const Shared &) = delete;
    Shared &operator=(const Shared &) = delete;

    void wake() const
    {
        const quint64 one = 1;
        [[maybe_unused]] const ssize_t written = ::write(wakeUp, &one, sizeof one);
    }

    const BrokerConfig config;
    const MosquittoOptions options;
    const int wakeUp = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<MqttMessage> queue;
    std::vector<std::pair<QByteArray, MqttQos>> subscriptions;
    bool isOpen = false; // messages are taken
    bool isEnding = false;
    bool hasEnded = false;
    std::optional<MqttMessage> goodbye;
    QString dropWhy;  // a connection that shall be dropped
    QString leaveWhy; // one that shall end after the goodbye

    std::mutex eventMutex; // held while an event is given out
    MqttClientEvents *events = nullptr;

    template <typename Call>
    void tell(const Call &call)
    {
        const std::lock_guard lock(eventMutex);
        if (events != nullptr)
            call(*events);
    }
};

// One connection with its library object; all in the client's thread.
class MosquittoClient::Connection
{
public:
    explicit Connection(Shared &shared) : m_shared(shared)
    {
        initLibrary();
        m_library = mosquitto_new(shared.config.client.toUtf8().constData(), shared.options.isClean, this);
    }
    ~Connection() { mosquitto_destroy(m_library); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // \return why it ended
    QString run()
    {
        m_shared.tell([this](MqttClientEvents &events) { m_will = events.will(); });
        if (m_library == nullptr || !configure() || !connect()) {
            m_shared.tell([](MqttClientEvents &events) { events.unheard(); });
            return m_problem;
        }
        m_deadline = SteadyClock::now() + answerToConnect;
        while (m_problem.isEmpty() && !m_isOver)
            turn();
        return m_problem;
    }
    bool wasAccepted() const { return m_wasAccepted; }

private:
    void fail(const QString &text)
    {
        if (m_problem.isEmpty())
            m_problem = text;
    }
    // \return false, and the problem is known
    bool check(int result, const char *what)
    {
        if (result == MOSQ_ERR_SUCCESS)
            return true;
        const int error = errno;
        QString text =
            result == MOSQ_ERR_ERRNO ? qt_error_string(error) : QString::fromUtf8(mosquitto_strerror(result));
        if (!m_libraryText.isEmpty() && result == MOSQ_ERR_TLS)
            text = m_libraryText;
        fail(QStringLiteral("%1: %2").arg(QString::fromLatin1(what), text.trimmed()));
        return false;
    }

    bool configure()
    {
        const BrokerConfig &config = m_shared.config;
        const bool isV5 = config.version == MqttVersion::V5;
        mosquitto_int_option(m_library, MOSQ_OPT_PROTOCOL_VERSION,
                             isV5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
        mosquitto_int_option(m_library, MOSQ_OPT_TCP_NODELAY, 1);
        mosquitto_int_option(m_library, MOSQ_OPT_SEND_MAXIMUM, int(mostInFlight));
        mosquitto_connect_v5_callback_set(m_library, &Connection::onConnect);
        mosquitto_disconnect_v5_callback_set(m_library, &Connection::onDisconnect);
        mosquitto_publish_v5_callback_set(m_library, &Connection::onPublish);
        mosquitto_subscribe_v5_callback_set(m_library, &Connection::onSubscribe);
        mosquitto_unsubscribe_callback_set(m_library, &Connection::onUnsubscribe);
        mosquitto_message_v5_callback_set(m_library, &Connection::onMessage);
        mosquitto_log_callback_set(m_library, &Connection::onLog);
        if (!config.userFile.isEmpty()) {
            const QByteArray user = firstLine(config.userFile), password = firstLine(config.passwordFile);
            if (!check(mosquitto_username_pw_set(m_library, user.constData(),
                                                 password.isEmpty() ? nullptr : password.constData()),
                       "the user of the broker"))
                return false;
        }
        return check(mosquitto_will_set(m_library, m_will.topic.constData(), int(m_will.payload.size()),
                                        m_will.payload.constData(), int(m_will.qos), m_will.isRetained),
                     "the will") &&
               configureTls();
    }

    bool configureTls()
    {
        const BrokerConfig &config = m_shared.config;
        if (!config.hasTls)
            return true;
        const QByteArray ca = QFile::encodeName(config.ca);
        const QByteArray certificate = QFile::encodeName(config.certificate);
        const QByteArray key = QFile::encodeName(config.key);
        // A key with a password would be asked for on the terminal.
        const auto noPassword = [](char * /*buffer*/, int /*size*/, int /*use*/, void * /*data*/) {
            return 0;
        };
        return check(mosquitto_tls_set(m_library, ca.constData(), nullptr,
                                       certificate.isEmpty() ? nullptr : certificate.constData(),
                                       key.isEmpty() ? nullptr : key.constData(), noPassword),
                     "the certificates");
    }

    bool connect()
    {
        const BrokerConfig &config = m_shared.config;
        mosquitto_property *properties = nullptr;
        // Without this property the session ends with its connection.
        if (config.version == MqttVersion::V5 && !m_shared.options.isClean)
            mosquitto_property_add_int32(&properties, MQTT_PROP_SESSION_EXPIRY_INTERVAL, sessionSeconds);
        const auto keepalive =
            int(std::chrono::duration_cast<std::chrono::seconds>(config.keepalive).count());
        const int result = mosquitto_connect_bind_v5(m_library, config.host.toUtf8().constData(), config.port,
                                                     keepalive, nullptr, properties);
        const int error = errno;
        mosquitto_property_free_all(&properties);
        errno = error;
        return check(result, "connecting");
    }

    // Waits for the socket or for work, and does what there is.
    void turn()
    {
        std::array<pollfd, 2> sockets{pollfd{mosquitto_socket(m_library), POLLIN, 0},
                                      pollfd{m_shared.wakeUp, POLLIN, 0}};
        if (mosquitto_want_write(m_library))
            sockets[0].events = POLLIN | POLLOUT;
        ::poll(sockets.data(), sockets.size(), pollMs);
        if (sockets[1].revents != 0) {
            quint64 count = 0;
            [[maybe_unused]] const ssize_t got = ::read(m_shared.wakeUp, &count, sizeof count);
        }
        if (sockets[0].revents != 0)
            read();
        if (m_problem.isEmpty() && mosquitto_want_write(m_library))
            check(mosquitto_loop_write(m_library, 1), "writing");
        if (m_problem.isEmpty())
            check(mosquitto_loop_misc(m_library), "the connection");
        if (!m_wasAccepted && SteadyClock::now() > m_deadline)
            fail(QStringLiteral("the broker does not answer"));
        if (m_problem.isEmpty())
            work();
    }

    // TLS keeps bytes that poll() does not see: read until there is nothing.
    void read()
    {
        for (int i = 0; i < mostReads && m_problem.isEmpty(); ++i) {
            errno = 0;
            const int result = mosquitto_loop_read(m_library, 1);
            const bool isEmpty = errno == EAGAIN || errno == EWOULDBLOCK;
            if (!check(result, "the connection") || isEmpty)
                return;
        }
    }

    void work()
    {
        std::vector<std::pair<QByteArray, MqttQos>> subscriptions;
        {
            const std::lock_guard lock(m_shared.mutex);
            if (!m_shared.dropWhy.isEmpty())
                return fail(std::exchange(m_shared.dropWhy, {}));
            m_waiting.insert(m_waiting.end(), std::make_move_iterator(m_shared.queue.begin()),
                             std::make_move_iterator(m_shared.queue.end()));
            m_shared.queue.clear();
            subscriptions.swap(m_shared.subscriptions);
            if ((m_shared.isEnding || !m_shared.leaveWhy.isEmpty()) && !m_isLeaving) {
                m_isLeaving = true;
                m_leaveWhy = m_shared.leaveWhy;
                m_deadline = SteadyClock::now() + longestGoodbye;
                if (m_wasAccepted && m_shared.goodbye)
                    m_waiting.push_back(*m_shared.goodbye);
            }
        }
        for (const auto &[filter, qos] : subscriptions)
            subscribe(filter, qos);
        // The library numbers messages with 16 bits and begins again without looking whether a
        // number is still in use. What is left at the end goes all the same: nobody waits for it.
        while (!m_waiting.empty() && m_problem.isEmpty() &&
               (m_isLeaving || m_tokens.size() + m_unwritten < mostInFlight)) {
            publish(m_waiting.front());
            m_waiting.pop_front();
        }
        if (m_isLeaving)
            leave();
    }

    // Ends when everything is acknowledged, or there is no time left.
    void leave()
    {
        if (m_tokens.size() + m_unwritten > 0 && SteadyClock::now() < m_deadline)
            return;
        const bool saysWill = m_shared.options.endsWithWill && m_shared.config.version == MqttVersion::V5;
        mosquitto_disconnect_v5(m_library, saysWill ? MQTT_RC_DISCONNECT_WITH_WILL_MSG : 0, nullptr);
        mosquitto_loop_write(m_library, 1);
        m_isOver = true;
        m_problem = m_leaveWhy;
    }

    // A broker of MQTT 5 shall not hide that a message is retained. One of 3.1.1 does, unless it
    // had the message before we subscribed.
    void subscribe(const QByteArray &filter, MqttQos qos)
    {
        const bool isV5 = m_shared.config.version == MqttVersion::V5;
        const int options = isV5 ? MQTT_SUB_OPT_RETAIN_AS_PUBLISHED : 0;
        int id = 0;
        if (check(mosquitto_subscribe_v5(m_library, &id, filter.constData(), int(qos), options, nullptr),
                  "subscribing"))
            m_filters.emplace(id, filter);
    }

    void publish(const MqttMessage &message)
    {
        if (message.asksReceipt)
            return askReceipt(message);
        mosquitto_property *properties = nullptr;
        if (!message.correlation.isEmpty() && m_shared.config.version == MqttVersion::V5)
            mosquitto_property_add_binary(&properties, MQTT_PROP_CORRELATION_DATA,
                                          message.correlation.constData(),
                                          quint16(message.correlation.size()));
        int id = 0;
        const bool isAnswered = message.qos != MqttQos::AtMostOnce;
        // Before the call, which may write it and say so at once.
        m_unwritten += isAnswered ? 0 : 1;
        const int result = mosquitto_publish_v5(m_library, &id, message.topic.constData(),
                                                int(message.payload.size()), message.payload.constData(),
                                                int(message.qos), message.isRetained, properties);
        mosquitto_property_free_all(&properties);
        m_unwritten -= isAnswered || result == MOSQ_ERR_SUCCESS ? 0 : 1;
        if (result == MOSQ_ERR_SUCCESS) {
            if (isAnswered)
                m_tokens.emplace(id, message.token);
        } else if (result == MOSQ_ERR_NO_CONN || result == MOSQ_ERR_CONN_LOST || result == MOSQ_ERR_ERRNO) {
            // What the broker said before it went is there to be read: perhaps why.
            const int error = errno;
            read();
            errno = error;
            check(result, "writing");
        } else {
            const QString why = QStringLiteral("%1: %2").arg(QString::fromUtf8(message.topic),
                                                             QString::fromUtf8(mosquitto_strerror(result)));
            m_shared.tell([&](MqttClientEvents &events) { events.refused(message.token, why); });
        }
    }

    void askReceipt(const MqttMessage &message)
    {
        int id = 0;
        if (check(mosquitto_unsubscribe(m_library, &id, message.topic.constData()), "writing"))
            m_tokens.emplace(id, message.token);
    }

    void accepted(int code, int flags)
    {
        constexpr int sessionPresent = 1;
        if (code != 0) {
            const bool isV5 = m_shared.config.version == MqttVersion::V5;
            fail(QStringLiteral("the broker refuses us: %1")
                     .arg(QString::fromUtf8(isV5 ? mosquitto_reason_string(code)
                                                 : mosquitto_connack_string(code))));
            return;
        }
        m_wasAccepted = true;
        {
            const std::lock_guard lock(m_shared.mutex);
            m_shared.isOpen = !m_shared.isEnding;
        }
        m_shared.tell([&](MqttClientEvents &events) { events.connected((flags & sessionPresent) != 0); });
    }

    void answered(int id, int code)
    {
        const auto found = m_tokens.find(id);
        if (found == m_tokens.end()) {
            m_unwritten -= m_unwritten > 0 ? 1 : 0; // QoS 0: it is written
            return;
        }
        const quint64 token = found->second;
        m_tokens.erase(found);
        m_shared.tell([&](MqttClientEvents &events) {
            if (code < failureCodes)
                events.acknowledged(token);
            else
                events.refused(token, QStringLiteral("the broker answered: %1")
                                          .arg(QString::fromUtf8(mosquitto_reason_string(code))));
        });
    }

    void subscribed(int id, int code)
    {
        const auto found = m_filters.find(id);
        if (found == m_filters.end())
            return;
        const QString problem =
            code < failureCodes ? QString() : QString::fromUtf8(mosquitto_reason_string(code));
        m_shared.tell([&](MqttClientEvents &events) { events.subscribed(found->second, problem); });
        m_filters.erase(found);
    }

    void received(const mosquitto_message &message, const mosquitto_property *properties)
    {
        MqttReceived copy;
        copy.topic = message.topic;
        copy.payload = QByteArray(static_cast<const char *>(message.payload), message.payloadlen);
        copy.isRetained = message.retain;
        void *bytes = nullptr;
        quint16 size = 0;
        quint32 seconds = 0;
        const bool isCorrelated = mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA,
                                                                 &bytes, &size, false) != nullptr;
        const std::unique_ptr<void, void (*)(void *)> owner(bytes, &std::free);
        if (isCorrelated)
            copy.correlation = QByteArray(static_cast<const char *>(bytes), size);
        if (mosquitto_property_read_int32(properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, &seconds, false))
            copy.expiry = seconds;
        m_shared.tell([&](MqttClientEvents &events) { events.received(copy); });
    }

    static Connection &of(void *self) { return *static_cast<Connection *>(self); }
    static void onConnect(mosquitto * /*library*/, void *self, int code, int flags,
                          const mosquitto_property * /*properties*/)
    {
        of(self).accepted(code, flags);
    }
    static void onDisconnect(mosquitto * /*library*/, void *self, int code,
                             const mosquitto_property * /*properties*/)
    {
        if (code >= failureCodes)
            of(self).fail(QStringLiteral("the broker ended the connection: %1")
                              .arg(QString::fromUtf8(mosquitto_reason_string(code))));
        else if (code != MOSQ_ERR_SUCCESS)
            of(self).check(code, "the connection");
        else
            of(self).fail(QStringLiteral("the connection was closed"));
    }
    static void onPublish(mosquitto * /*library*/, void *self, int id, int code,
                          const mosquitto_property * /*properties*/)
    {
        of(self).answered(id, code);
    }
    static void onSubscribe(mosquitto * /*library*/, void *self, int id, int count, const int *codes,
                            const mosquitto_property * /*properties*/)
    {
        if (count == 1)
            of(self).subscribed(id, codes[0]);
    }
    // Whatever the broker says of the subscription, it has read what came before.
    static void onUnsubscribe(mosquitto * /*library*/, void *self, int id) { of(self).answered(id, 0); }
    static void onMessage(mosquitto * /*library*/, void *self, const mosquitto_message *message,
                          const mosquitto_property *properties)
    {
        of(self).received(*message, properties);
    }
    static void onLog(mosquitto * /*library*/, void *self, int level, const char *text)
    {
        if (level == MOSQ_LOG_ERR)
            of(self).m_libraryText = QString::fromUtf8(text);
    }

    Shared &m_shared;
    mosquitto *m_library = nullptr;
    MqttMessage m_will;
    std::deque<MqttMessage> m_waiting;
    std::unordered_map<int, quint64> m_tokens;     // by the number of the message
    std::size_t m_unwritten = 0;                   // messages with QoS 0 that the library holds
    std::unordered_map<int, QByteArray> m_filters; // that the broker has not answered, in the same way
    QString m_problem;
    QString m_leaveWhy;
    QString m_libraryText;
    SteadyClock::time_point m_deadline;
    bool m_wasAccepted = false;
    bool m_isLeaving = false;
    bool m_isOver = false;
};

MosquittoClient::MosquittoClient(const BrokerConfig &config, MosquittoOptions options)
    : m_shared(std::make_shared<Shared>(config, options))
{
}

MosquittoClient::~MosquittoClient()
{
    MosquittoClient::stop({});
}

void MosquittoClient::start(MqttClientEvents &events)
{
    m_shared->events = &events;
    m_thread = std::thread([shared = m_shared] { run(shared); });
}

void MosquittoClient::stop(const MqttMessage &goodbye)
{
    if (!m_thread.joinable())
        return;
    std::unique_lock lock(m_shared->mutex);
    m_shared->isEnding = true;
    if (!goodbye.topic.isEmpty())
        m_shared->goodbye = goodbye;
    m_shared->wake();
    m_shared->changed.notify_all();
    const bool hasEnded =
        m_shared->changed.wait_for(lock, longestStop, [this] { return m_shared->hasEnded; });
    lock.unlock();
    {
        const std::lock_guard eventLock(m_shared->eventMutex);
        m_shared->events = nullptr;
    }
    // On purpose: a thread that looks up a name, or waits for a machine that is off, cannot be
    // called back. It ends by itself and touches nothing of ours any more.
    if (hasEnded)
        m_thread.join();
    else
        m_thread.detach();
}

void MosquittoClient::publish(std::vector<MqttMessage> messages)
{
    const std::lock_guard lock(m_shared->mutex);
    if (!m_shared->isOpen)
        return;
    const bool wasEmpty = m_shared->queue.empty();
    m_shared->queue.insert(m_shared->queue.end(), std::make_move_iterator(messages.begin()),
                           std::make_move_iterator(messages.end()));
    if (wasEmpty)
        m_shared->wake();
}

void MosquittoClient::subscribe(const QByteArray &filter, MqttQos qos)
{
    const std::lock_guard lock(m_shared->mutex);
    m_shared->subscriptions.emplace_back(filter, qos);
}

void MosquittoClient::reconnect(const QString &why)
{
    const std::lock_guard lock(m_shared->mutex);
    if (m_shared->isOpen)
        m_shared->dropWhy = why;
    m_shared->wake();
}

void MosquittoClient::leave(const QString &why, const MqttMessage &goodbye)
{
    const std::lock_guard lock(m_shared->mutex);
    if (!m_shared->isOpen || m_shared->isEnding)
        return;
    m_shared->leaveWhy = why;
    m_shared->goodbye = goodbye;
    m_shared->wake();
}

void MosquittoClient::run(const std::shared_ptr<Shared> &shared)
{
    BackOff backOff(firstBackOff, longestBackOff);
    std::unique_lock lock(shared->mutex);
    while (!shared->isEnding) {
        lock.unlock();
        Connection connection(*shared);
        const QString problem = connection.run();
        lock.lock();
        shared->isOpen = false;
        shared->queue.clear();
        shared->subscriptions.clear();
        shared->dropWhy.clear();
        shared->leaveWhy.clear();
        if (shared->isEnding)
            break;
        lock.unlock();
        shared->tell([&](MqttClientEvents &events) { events.disconnected(problem); });
        lock.lock();
        if (connection.wasAccepted())
            backOff.reset();
        shared->changed.wait_for(lock, backOff.next(), [&] { return shared->isEnding; });
    }
    shared->hasEnded = true;
    shared->changed.notify_all();
}

} // namespace kvgateway
