// SPDX-License-Identifier: MIT
// Debian's mosquitto on a free port, and a subscriber that writes down what arrives.
#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <mosquitto.h>
#include <mutex>
#include <thread>
#include <vector>

namespace kvgateway
{

inline bool within(int milliseconds, const std::function<bool()> &isThere)
{
    QElapsedTimer clock;
    clock.start();
    while (!isThere() && clock.elapsed() < milliseconds)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return isThere();
}

/// Stops with its test, and comes back on the same port.
class Broker
{
public:
    /// \param more lines of its configuration
    explicit Broker(const QByteArray &more = "allow_anonymous true\n") : m_more(more)
    {
        QTcpServer free;
        free.listen(QHostAddress::LocalHost);
        m_port = free.serverPort();
    }
    ~Broker() { kill(); }
    Broker(const Broker &) = delete;
    Broker &operator=(const Broker &) = delete;

    quint16 port() const { return m_port; }
    QString path(const char *name) const { return m_folder.filePath(name); }
    void writeFile(const char *name, const QByteArray &text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

    void start()
    {
        // Without a user of its own: a test that runs as root would lose its right to the folder.
        writeFile("broker.conf", "user root\nlog_dest none\nlistener " + QByteArray::number(m_port) +
                                     " 127.0.0.1\nmax_queued_messages 0\n" + m_more);
        m_process.setWorkingDirectory(m_folder.path());
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(KV_MOSQUITTO), {"-c", path("broker.conf")});
        ASSERT_TRUE(m_process.waitForStarted()) << "mosquitto is missing: scripts/packages.sh test";
        ASSERT_TRUE(within(10'000, [this] {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, m_port);
            return socket.waitForConnected(100);
        }));
    }
    void stop() { end(SIGTERM); }
    void kill() { end(SIGKILL); }
    void freeze() { sendSignal(SIGSTOP); }
    void thaw() { sendSignal(SIGCONT); }

private:
    // One that is not running has the number 0, which is every process of this group.
    void sendSignal(int signal) const
    {
        if (m_process.state() != QProcess::NotRunning)
            ::kill(pid_t(m_process.processId()), signal);
    }
    void end(int signal)
    {
        sendSignal(signal);
        m_process.waitForFinished();
    }

    QTemporaryDir m_folder;
    QByteArray m_more;
    quint16 m_port = 0;
    QProcess m_process;
};

struct Arrival {
    std::string topic, payload;
    bool isRetained = false;
    int connection = 0; ///< of the subscriber: after another one the broker may send again

    QJsonObject json() const { return QJsonDocument::fromJson(QByteArray::fromStdString(payload)).object(); }
};

/// Subscribes to everything, and comes back when the broker does. On purpose with
/// the library alone:
/// what is tested is not what tests.
class Subscriber
{
public:
    /// \param id the broker keeps for this one what comes while it is away; empty: it does not
    explicit Subscriber(quint16 port, const char *id = "")
    {
        mosquitto_lib_init();
        m_library = mosquitto_new(*id == '\0' ? nullptr : id, *id == '\0', this);
        mosquitto_connect_callback_set(m_library, [](mosquitto *library, void *self, int code) {
            if (code != 0)
                return;
            ++static_cast<Subscriber *>(self)->m_connections;
            mosquitto_subscribe(library, nullptr, "#", 1);
        });
        mosquitto_subscribe_callback_set(m_library, [](mosquitto *, void *self, int, int, const int *) {
            static_cast<Subscriber *>(self)->m_isSubscribed = true;
        });
        mosquitto_message_callback_set(m_library,
                                       [](mosquitto *, void *self, const mosquitto_message *message) {
                                           static_cast<Subscriber *>(self)->take(*message);
                                       });
        mosquitto_reconnect_delay_set(m_library, 1, 1, false);
        EXPECT_EQ(mosquitto_connect(m_library, "127.0.0.1", port, 60), MOSQ_ERR_SUCCESS);
        mosquitto_loop_start(m_library);
        EXPECT_TRUE(within(10'000, [this] { return m_isSubscribed.load(); }));
    }
    ~Subscriber()
    {
        mosquitto_disconnect(m_library);
        mosquitto_loop_stop(m_library, true);
        mosquitto_destroy(m_library);
    }
    Subscriber(const Subscriber &) = delete;
    Subscriber &operator=(const Subscriber &) = delete;

    void publish(const char *topic, const std::string &payload, bool isRetained = false)
    {
        mosquitto_publish(m_library, nullptr, topic, int(payload.size()), payload.data(), 1, isRetained);
    }
    std::vector<Arrival> arrivals() const
    {
        const std::lock_guard lock(m_mutex);
        return m_arrivals;
    }
    /// The newest that came under a topic; empty: none
    std::string newest(const std::string &topic) const
    {
        const std::lock_guard lock(m_mutex);
        for (auto one = m_arrivals.rbegin(); one != m_arrivals.rend(); ++one) {
            if (one->topic == topic)
                return one->payload;
        }
        return {};
    }
    bool waitFor(const std::string &topic, const std::string &part) const
    {
        return within(10'000, [&] { return newest(topic).find(part) != std::string::npos; });
    }

private:
    void take(const mosquitto_message &message)
    {
        const std::lock_guard lock(m_mutex);
        m_arrivals.push_back(
            {message.topic,
             std::string(static_cast<const char *>(message.payload), std::size_t(message.payloadlen)),
             message.retain, m_connections});
    }

    mosquitto *m_library = nullptr;
    std::atomic<bool> m_isSubscribed = false;
    std::atomic<int> m_connections = 0;
    mutable std::mutex m_mutex;
    std::vector<Arrival> m_arrivals;
};

} // namespace kvgateway
