// SPDX-License-Identifier: MIT
// Names into addresses, beside the link's thread.
//
// The system's call for that waits as long as the name server likes: 20 s and more. It runs on a
// thread of its own, which owns all it touches, so that nobody ever waits for it; a link that is
// closed meanwhile leaves it alone. A link has at most one such thread: who asks again while it
// runs gets its answer.
#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>
#include <vector>

struct pollfd;

namespace kvlink
{

/// Address and port, as the system's calls take them.
struct SocketAddress {
    sockaddr_storage bytes = {};
    socklen_t length = 0;

    int family() const { return bytes.ss_family; }
    /// "192.168.0.10:8501", "[fe80::1]:8501"
    QString text() const;
};

struct Resolved {
    std::vector<SocketAddress> addresses; ///< in the system's order
    QString problem;                      ///< "the name 'plc1' is not known"; with no address only
};

/// What asks the system; waits. Tests hand in their own.
using NameLookup = std::function<Resolved(const QString &host, int port)>;

/// getaddrinfo, for names.
Resolved lookUpName(const QString &host, int port);

/// An address without a name: no waiting. \a host as in PlcUrl.
Resolved numericAddress(const QString &host, int port);

class Resolver
{
public:
    explicit Resolver(NameLookup lookup = lookUpName);
    ~Resolver();
    Resolver(const Resolver &) = delete;
    Resolver &operator=(const Resolver &) = delete;

    /// Begins to resolve a name, always the same one.
    void start(const QString &host, int port);
    /// Nothing is wanted any more. What comes of a running look-up is kept only for a start()
    /// before its end.
    void cancel();
    /// True once after start(), when there is a result.
    bool takeResult(Resolved &result);
    /// What to sleep on until then.
    void addDescriptors(std::vector<pollfd> &to) const;

private:
    struct Job;

    NameLookup m_lookup;
    std::shared_ptr<Job> m_job; // shared with its thread; null while none runs
    bool m_wanted = false;
};

} // namespace kvlink
