// SPDX-License-Identifier: MIT
// Names into addresses. See resolver.h.
#include "transport/resolver.h"

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cstring>
#include <netdb.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace kvlink
{

namespace
{

Resolved ask(const QString &host, int port, int flags, int &error)
{
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM; // each address once
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo *list = nullptr;
    error = ::getaddrinfo(host.toLatin1().constData(), QByteArray::number(port).constData(), &hints, &list);
    Resolved result;
    if (error != 0)
        return result;
    for (const addrinfo *entry = list; entry != nullptr; entry = entry->ai_next) {
        SocketAddress address;
        std::memcpy(&address.bytes, entry->ai_addr, entry->ai_addrlen);
        address.length = entry->ai_addrlen;
        result.addresses.push_back(address);
    }
    ::freeaddrinfo(list);
    return result;
}

QString problemOf(int error, const QString &host)
{
    switch (error) {
    case EAI_NONAME:
    case EAI_NODATA:
        return QStringLiteral("the name '%1' is not known").arg(host);
    case EAI_AGAIN:
        return QStringLiteral("no name server answered for '%1'").arg(host);
    default:
        return QStringLiteral("the name '%1' cannot be resolved: %2")
            .arg(host, QString::fromLocal8Bit(::gai_strerror(error)));
    }
}

} // namespace

QString SocketAddress::text() const
{
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (::getnameinfo(reinterpret_cast<const sockaddr *>(&bytes), length, host.data(), host.size(),
                      port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0)
        return {};
    const QString shown = QString::fromLatin1(host.data());
    const QString form = family() == AF_INET6 ? QStringLiteral("[%1]:%2") : QStringLiteral("%1:%2");
    return form.arg(shown, QString::fromLatin1(port.data()));
}

Resolved lookUpName(const QString &host, int port)
{
    int error = 0;
    Resolved result = ask(host, port, 0, error);
    if (error != 0)
        result.problem = problemOf(error, host);
    return result;
}

Resolved numericAddress(const QString &host, int port)
{
    int error = 0;
    Resolved result = ask(host, port, AI_NUMERICHOST, error);
    if (error != 0) // such as an interface that does not exist
        result.problem = QStringLiteral("the address '%1' cannot be used: %2")
                             .arg(host, QString::fromLocal8Bit(::gai_strerror(error)));
    return result;
}

// All that the thread touches. It lives as long as the thread or the resolver needs it.
struct Resolver::Job {
    QString host;
    int port = 0;
    NameLookup lookup;
    Resolved result; // of the thread until isDone
    std::atomic<bool> isDone{false};
    int wakeUp = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); // readable when done

    Job() = default;
    Job(const Job &) = delete;
    Job &operator=(const Job &) = delete;
    ~Job() { ::close(wakeUp); }

    void run()
    {
        result = lookup(host, port);
        finish();
    }
    void finish()
    {
        isDone = true;
        ::eventfd_write(wakeUp, 1);
    }
};

Resolver::Resolver(NameLookup lookup) : m_lookup(std::move(lookup)) {}

Resolver::~Resolver() = default;

void Resolver::start(const QString &host, int port)
{
    m_wanted = true;
    if (m_job && !m_job->isDone)
        return;
    m_job = std::make_shared<Job>();
    m_job->host = host;
    m_job->port = port;
    m_job->lookup = m_lookup;
    try {
        std::thread([job = m_job] { job->run(); }).detach();
    } catch (const std::system_error &) { // no thread is to be had
        m_job->result.problem =
            QStringLiteral("the name '%1' cannot be resolved: too many threads").arg(host);
        m_job->finish();
    }
}

void Resolver::cancel()
{
    m_wanted = false;
}

bool Resolver::takeResult(Resolved &result)
{
    if (!m_wanted || !m_job || !m_job->isDone)
        return false;
    result = std::move(m_job->result);
    m_job.reset();
    m_wanted = false;
    return true;
}

void Resolver::addDescriptors(std::vector<pollfd> &to) const
{
    if (m_wanted && m_job)
        to.push_back({m_job->wakeUp, POLLIN, 0});
}

} // namespace kvlink
