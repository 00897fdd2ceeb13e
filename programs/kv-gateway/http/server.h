// SPDX-License-Identifier: MIT
// The HTTP server: libmicrohttpd with one thread. A request that takes longer is put aside and
// answered later, by any thread; a stream that has nothing to send is put aside until it is woken.
#pragma once

#include "message.h"

#include <kvlink/times.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>

struct MHD_Connection;
struct MHD_Daemon;

namespace kvgateway
{

class HttpServer;
struct HttpExchange;
struct HttpStream;

/// Where the answer to a request goes. Any thread, once; a second answer is dropped.
class Reply
{
public:
    void send(Response response);

private:
    friend class HttpServer;
    friend struct HttpExchange;

    std::mutex m_mutex;
    std::optional<Response> m_response;
    MHD_Connection *m_suspended = nullptr; ///< put aside, and to be resumed
    bool m_isSent = false;
};

/// In the thread of the server. Never waits: what takes long is handed on with the reply.
using HttpHandler = std::function<void(const Request &request, const std::shared_ptr<Reply> &reply)>;

struct ServerSettings {
    QString address;
    quint16 port = 0;
    QByteArray certificate; ///< PEM; empty: no TLS
    QByteArray key;
    int mostConnections = 200;
    int mostOfOnePeer = 100;
    int mostBytes = 64 * 1024; ///< of a request's body
    int idleSeconds = 30;      ///< a connection on which nothing moves is closed
    int requestSeconds = 30;   ///< so long may a whole request take to arrive, after that silence
};

/// Made and ended by one thread.
class HttpServer
{
public:
    HttpServer(ServerSettings settings, HttpHandler handler);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    /// \return false with a problem: the port is in use, the certificate is not one
    bool start(QString &problem);
    /// Answers what was put aside with 503, ends all streams and closes all connections.
    void stop();

    quint16 port() const;
    int streams() const;
    /// Any thread: asks all streams that wait again.
    void wakeStreams();
    /// Any thread: closes the connections whose request takes too long to arrive; to be called now
    /// and then. A client that sends a byte at a time never is idle.
    void closeLate(kvlink::SteadyTime now);

private:
    friend struct HttpExchange;
    friend struct HttpStream;

    bool isStopping() const;
    void remember(const std::shared_ptr<Reply> &reply);
    void noteArriving(MHD_Connection *connection);
    void noteArrived(MHD_Connection *connection);

    ServerSettings m_settings;
    HttpHandler m_handler;
    MHD_Daemon *m_daemon = nullptr;
    mutable std::mutex m_mutex;
    std::condition_variable m_completed;
    std::set<std::shared_ptr<Reply>> m_open;
    std::set<HttpStream *> m_streams;
    std::map<MHD_Connection *, kvlink::SteadyTime> m_arriving; ///< or silent, since when
    bool m_isStopping = false;
};

} // namespace kvgateway
