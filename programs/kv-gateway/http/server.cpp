// SPDX-License-Identifier: MIT
// Between libmicrohttpd and our records.
#include "server.h"

#include "store/clock.h"

#include <QHostAddress>

#include <microhttpd.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace kvgateway
{

namespace
{

constexpr std::size_t memoryOfConnection = 32 * 1024;
constexpr std::size_t streamBlock = 32 * 1024;
constexpr std::chrono::milliseconds longestFarewell(200); // for a client that does not read its answer
// Values change, and no page of others may show or guess at them.
constexpr std::pair<const char *, const char *> usualHeaders[] = {
    {"Cache-Control", "no-store"},
    {"X-Content-Type-Options", "nosniff"},
    {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"}};
constexpr int mostPairs = 64; // of headers, and of the query

QString textOf(const char *text)
{
    return text == nullptr ? QString() : QString::fromUtf8(text);
}

// A zero byte would end a path or an argument, and hide what stands after it.
std::size_t unescape(void * /*cls*/, MHD_Connection * /*connection*/, char *text)
{
    for (char *zero = std::strstr(text, "%00"); zero != nullptr; zero = std::strstr(zero, "%00"))
        zero[2] = '1';
    return MHD_http_unescape(text);
}

MHD_Result takeHeader(void *to, MHD_ValueKind /*kind*/, const char *name, const char *value)
{
    auto &headers = *reinterpret_cast<QMap<QByteArray, QByteArray> *>(to);
    if (headers.size() < mostPairs && value != nullptr)
        headers.insert(QByteArray(name).toLower(), value);
    return MHD_YES;
}

MHD_Result takeArgument(void *to, MHD_ValueKind /*kind*/, const char *name, const char *value)
{
    auto &query = *reinterpret_cast<QMap<QString, QString> *>(to);
    if (query.size() < mostPairs)
        query.insert(textOf(name), textOf(value));
    return MHD_YES;
}

// An address as the system wants it.
class Endpoint
{
public:
    Endpoint(const QHostAddress &address, quint16 port)
        : m_isV6(address.protocol() == QAbstractSocket::IPv6Protocol),
          m_isAny(address == QHostAddress(QHostAddress::AnyIPv6))
    {
        m_v4.sin_family = AF_INET;
        m_v4.sin_port = htons(port);
        m_v4.sin_addr.s_addr = htonl(address.toIPv4Address());
        m_v6.sin6_family = AF_INET6;
        m_v6.sin6_port = htons(port);
        const Q_IPV6ADDR bytes = address.toIPv6Address();
        std::memcpy(&m_v6.sin6_addr, &bytes, sizeof m_v6.sin6_addr);
    }

    const sockaddr *address() const
    {
        return m_isV6 ? reinterpret_cast<const sockaddr *>(&m_v6) : reinterpret_cast<const sockaddr *>(&m_v4);
    }
    // "::" takes IPv4 too.
    unsigned flags() const
    {
        if (m_isAny)
            return MHD_USE_DUAL_STACK;
        return m_isV6 ? unsigned(MHD_USE_IPv6) : 0U;
    }

private:
    bool m_isV6;
    bool m_isAny;
    sockaddr_in m_v4{};
    sockaddr_in6 m_v6{};
};

} // namespace

// A stream on its way to one client.
struct HttpStream {
    HttpServer &server;
    MHD_Connection *connection;
    std::unique_ptr<StreamSource> source;
    QByteArray pending;
    qsizetype taken = 0;
    bool isWaiting = false;

    HttpStream(HttpServer &to, MHD_Connection *on, std::unique_ptr<StreamSource> from)
        : server(to), connection(on), source(std::move(from))
    {
        const std::lock_guard lock(server.m_mutex);
        server.m_streams.insert(this);
    }
    ~HttpStream()
    {
        const std::lock_guard lock(server.m_mutex);
        server.m_streams.erase(this);
    }
    HttpStream(const HttpStream &) = delete;
    HttpStream &operator=(const HttpStream &) = delete;

    ssize_t read(char *to, std::size_t room)
    {
        if (taken == pending.size()) {
            pending.clear();
            taken = 0;
            // Not under the lock, for which the plant waits: the accounts are on a disk.
            if (!source->mayGoOn())
                return MHD_CONTENT_READER_END_OF_STREAM;
            // Asked under the lock: a wake between the question and the wait is not lost.
            const std::lock_guard lock(server.m_mutex);
            const auto state = server.m_isStopping ? StreamSource::State::End : source->read(pending);
            if (state == StreamSource::State::Wait) {
                isWaiting = true;
                MHD_suspend_connection(connection);
                return 0;
            }
            if (state == StreamSource::State::End)
                return MHD_CONTENT_READER_END_OF_STREAM;
        }
        const auto count = std::min(qsizetype(room), qsizetype(pending.size()) - taken);
        std::memcpy(to, pending.constData() + taken, std::size_t(count));
        taken += count;
        return ssize_t(count);
    }
};

// One request on its way in, and its answer on its way out.
struct HttpExchange {
    Request request;
    std::shared_ptr<Reply> reply = std::make_shared<Reply>();
    bool isTooLarge = false;
    bool isHandled = false;

    static MHD_Result onAccess(void *cls, MHD_Connection *connection, const char *url, const char *method,
                               const char * /*version*/, const char *data, std::size_t *size, void **context)
    {
        auto &server = *reinterpret_cast<HttpServer *>(cls);
        auto *exchange = reinterpret_cast<HttpExchange *>(*context);
        if (exchange == nullptr) {
            *context = new HttpExchange(connection, url, method);
            return MHD_YES;
        }
        if (*size > 0) {
            exchange->takeBody(data, *size, server.m_settings.mostBytes);
            *size = 0;
            return MHD_YES;
        }
        return exchange->answer(server, connection);
    }

    static void onCompleted(void *cls, MHD_Connection *connection, void **context,
                            MHD_RequestTerminationCode /*code*/)
    {
        auto &server = *reinterpret_cast<HttpServer *>(cls);
        const std::unique_ptr<HttpExchange> exchange(reinterpret_cast<HttpExchange *>(*context));
        *context = nullptr;
        if (!exchange)
            return;
        server.noteArriving(connection); // the next one
        const std::lock_guard lock(server.m_mutex);
        server.m_open.erase(exchange->reply);
        server.m_completed.notify_all();
    }

    static void onConnection(void *cls, MHD_Connection *connection, void ** /*context*/,
                             MHD_ConnectionNotificationCode code)
    {
        auto &server = *reinterpret_cast<HttpServer *>(cls);
        if (code == MHD_CONNECTION_NOTIFY_STARTED)
            server.noteArriving(connection);
        else
            server.noteArrived(connection); // its socket is closed next
    }

    HttpExchange(MHD_Connection *connection, const char *url, const char *method)
    {
        request.method = method;
        request.path = textOf(url);
        MHD_get_connection_values(connection, MHD_HEADER_KIND, &takeHeader, &request.headers);
        MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &takeArgument, &request.query);
        const auto *peer = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
        if (peer != nullptr && peer->client_addr != nullptr) {
            QHostAddress address(peer->client_addr);
            bool isV4 = false;
            const quint32 v4 = address.toIPv4Address(&isV4); // also of "::ffff:192.168.0.7"
            if (isV4)
                address.setAddress(v4);
            request.peer = address.toString();
            request.isLoopback = address.isLoopback();
        }
        request.isTls = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_PROTOCOL) != nullptr;
    }

    void takeBody(const char *data, std::size_t size, int most)
    {
        isTooLarge = isTooLarge || std::size_t(request.body.size()) + size > std::size_t(most);
        if (isTooLarge)
            request.body.clear();
        else
            request.body.append(data, int(size));
    }

    MHD_Result answer(HttpServer &server, MHD_Connection *connection)
    {
        if (!std::exchange(isHandled, true)) {
            server.noteArrived(connection);
            server.remember(reply);
            if (isTooLarge)
                reply->send(
                    problemResponse(413, QStringLiteral("the body is larger than %1 bytes: send less at once")
                                             .arg(server.m_settings.mostBytes)));
            else if (server.isStopping())
                reply->send(
                    problemResponse(503, QStringLiteral("the gateway is being stopped: try again later")));
            else
                server.m_handler(request, reply);
        }
        const std::lock_guard lock(reply->m_mutex);
        if (!reply->m_response) {
            reply->m_suspended = connection;
            MHD_suspend_connection(connection);
            return MHD_YES;
        }
        return queue(server, connection, std::move(*reply->m_response));
    }

    static MHD_Response *made(HttpServer &server, MHD_Connection *connection, Response &response)
    {
        if (!response.stream)
            return MHD_create_response_from_buffer(std::size_t(response.body.size()), response.body.data(),
                                                   MHD_RESPMEM_MUST_COPY);
        auto *stream = new HttpStream(server, connection, std::move(response.stream));
        const auto read = [](void *cls, std::uint64_t /*position*/, char *to, std::size_t room) {
            return reinterpret_cast<HttpStream *>(cls)->read(to, room);
        };
        const auto free = [](void *cls) { delete reinterpret_cast<HttpStream *>(cls); };
        return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, streamBlock, +read, stream, +free);
    }

    static MHD_Result queue(HttpServer &server, MHD_Connection *connection, Response response)
    {
        MHD_Response *out = made(server, connection, response);
        if (out == nullptr)
            return MHD_NO;
        if (!response.contentType.isEmpty())
            MHD_add_response_header(out, "Content-Type", response.contentType.constData());
        for (const auto &[name, value] : response.headers)
            MHD_add_response_header(out, name.constData(), value.constData());
        for (const auto &[name, value] : usualHeaders) {
            if (MHD_get_response_header(out, name) == nullptr)
                MHD_add_response_header(out, name, value);
        }
        const MHD_Result result = MHD_queue_response(connection, unsigned(response.status), out);
        MHD_destroy_response(out);
        return result;
    }
};

void Reply::send(Response response)
{
    const std::lock_guard lock(m_mutex);
    if (std::exchange(m_isSent, true))
        return;
    m_response = std::move(response);
    if (MHD_Connection *connection = std::exchange(m_suspended, nullptr))
        MHD_resume_connection(connection);
}

HttpServer::HttpServer(ServerSettings settings, HttpHandler handler)
    : m_settings(std::move(settings)), m_handler(std::move(handler))
{
}

HttpServer::~HttpServer()
{
    stop();
}

bool HttpServer::start(QString &problem)
{
    const Endpoint endpoint(QHostAddress(m_settings.address), m_settings.port);
    unsigned flags =
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ITC | endpoint.flags();
    std::vector<MHD_OptionItem> tls;
    if (!m_settings.certificate.isEmpty()) {
        flags |= MHD_USE_TLS;
        tls = {{MHD_OPTION_HTTPS_MEM_CERT, 0, m_settings.certificate.data()},
               {MHD_OPTION_HTTPS_MEM_KEY, 0, m_settings.key.data()}};
    }
    tls.push_back({MHD_OPTION_END, 0, nullptr});
    m_isStopping = false;
    errno = 0;
    m_daemon = MHD_start_daemon(
        flags, m_settings.port, nullptr, nullptr, &HttpExchange::onAccess, this, MHD_OPTION_SOCK_ADDR,
        endpoint.address(), MHD_OPTION_CONNECTION_LIMIT, unsigned(m_settings.mostConnections),
        MHD_OPTION_PER_IP_CONNECTION_LIMIT, unsigned(m_settings.mostOfOnePeer),
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, memoryOfConnection, MHD_OPTION_CONNECTION_TIMEOUT,
        unsigned(m_settings.idleSeconds), MHD_OPTION_NOTIFY_COMPLETED, &HttpExchange::onCompleted, this,
        MHD_OPTION_NOTIFY_CONNECTION, &HttpExchange::onConnection, this, MHD_OPTION_UNESCAPE_CALLBACK,
        &unescape, nullptr, MHD_OPTION_ARRAY, tls.data(), MHD_OPTION_END);
    if (m_daemon == nullptr)
        problem = QStringLiteral("cannot listen on %1 port %2: %3; see [listen]")
                      .arg(m_settings.address)
                      .arg(m_settings.port)
                      .arg(errno != 0 ? qt_error_string(errno)
                                      : QStringLiteral("the certificate or its key cannot be used"));
    return m_daemon != nullptr;
}

void HttpServer::stop()
{
    if (m_daemon == nullptr)
        return;
    std::set<std::shared_ptr<Reply>> open;
    {
        const std::lock_guard lock(m_mutex);
        m_isStopping = true;
        open = m_open;
    }
    for (const auto &reply : open)
        reply->send(problemResponse(503, QStringLiteral("the gateway is being stopped: try again later")));
    wakeStreams();
    {
        // The end of the daemon closes connections at once, whatever was not sent yet.
        std::unique_lock lock(m_mutex);
        m_completed.wait_for(lock, longestFarewell, [this] { return m_open.empty(); });
    }
    MHD_stop_daemon(m_daemon);
    m_daemon = nullptr;
}

quint16 HttpServer::port() const
{
    const auto *info =
        m_daemon == nullptr ? nullptr : MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_BIND_PORT);
    return info == nullptr ? quint16(0) : info->port;
}

int HttpServer::streams() const
{
    const std::lock_guard lock(m_mutex);
    return int(m_streams.size());
}

void HttpServer::wakeStreams()
{
    const std::lock_guard lock(m_mutex);
    for (HttpStream *stream : m_streams) {
        if (std::exchange(stream->isWaiting, false))
            MHD_resume_connection(stream->connection);
    }
}

// Under the lock: a connection that ends is taken out before its socket is closed.
void HttpServer::closeLate(kvlink::SteadyTime now)
{
    const std::chrono::seconds longest(m_settings.idleSeconds + m_settings.requestSeconds);
    const std::lock_guard lock(m_mutex);
    for (const auto &[connection, since] : m_arriving) {
        if (now - since < longest)
            continue;
        const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        if (info != nullptr)
            ::shutdown(info->connect_fd, SHUT_RDWR);
    }
}

void HttpServer::noteArriving(MHD_Connection *connection)
{
    const std::lock_guard lock(m_mutex);
    m_arriving[connection] = MachineClock().steady();
}

void HttpServer::noteArrived(MHD_Connection *connection)
{
    const std::lock_guard lock(m_mutex);
    m_arriving.erase(connection);
}

bool HttpServer::isStopping() const
{
    const std::lock_guard lock(m_mutex);
    return m_isStopping;
}

void HttpServer::remember(const std::shared_ptr<Reply> &reply)
{
    const std::lock_guard lock(m_mutex);
    m_open.insert(reply);
}

} // namespace kvgateway
