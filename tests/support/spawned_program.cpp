// SPDX-License-Identifier: MIT
#include "spawned_program.h"

#include <QElapsedTimer>
#include <QFile>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int endMs = 60000; // for SIGTERM
constexpr int tickMs = 5;    // no stream need tell of its end

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;
};

Pipe newPipe()
{
    std::array<int, 2> ends{-1, -1};
    return ::pipe2(ends.data(), O_CLOEXEC) == 0 ? Pipe{ends[0], ends[1]} : Pipe{};
}

// What the program does with its streams before it starts.
class Streams
{
public:
    Streams(const Pipe &input, const Pipe &output, const Pipe &errors, const std::string &errorFile)
    {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawn_file_actions_adddup2(&m_actions, input.readEnd, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_actions, output.writeEnd, STDOUT_FILENO);
        if (errorFile.empty())
            ::posix_spawn_file_actions_adddup2(&m_actions, errors.writeEnd, STDERR_FILENO);
        else
            ::posix_spawn_file_actions_addopen(&m_actions, STDERR_FILENO, errorFile.c_str(),
                                               O_WRONLY | O_CREAT | O_TRUNC, 0644);
    }
    ~Streams() { ::posix_spawn_file_actions_destroy(&m_actions); }
    Streams(const Streams &) = delete;
    Streams &operator=(const Streams &) = delete;

    const posix_spawn_file_actions_t *actions() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

// Qt has the test ignore SIGPIPE; the program decides for itself.
pid_t spawn(std::vector<QByteArray> words, const Streams &streams)
{
    std::vector<char *> arguments;
    for (QByteArray &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawnattr_t attributes{};
    ::posix_spawnattr_init(&attributes);
    sigset_t defaults{};
    ::sigemptyset(&defaults);
    ::sigaddset(&defaults, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t processId = -1;
    const int error =
        ::posix_spawn(&processId, arguments[0], streams.actions(), &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    return error == 0 ? processId : -1;
}

} // namespace

SpawnedProgram::SpawnedProgram(const QString &program, const QStringList &arguments, const QString &errorFile)
{
    const Pipe input = newPipe();
    const Pipe output = newPipe();
    const Pipe errors = newPipe();
    std::vector<QByteArray> words{QFile::encodeName(program)};
    for (const QString &argument : arguments)
        words.push_back(argument.toLocal8Bit());
    m_processId = spawn(words, Streams(input, output, errors, QFile::encodeName(errorFile).toStdString()));
    m_ended = m_processId < 0;
    for (const int end : {input.readEnd, output.writeEnd, errors.writeEnd})
        ::close(end);
    m_stdin = input.writeEnd;
    m_output.descriptor = output.readEnd;
    m_errors.descriptor = errors.readEnd;
    for (const int end : {m_output.descriptor, m_errors.descriptor})
        ::fcntl(end, F_SETFL, O_NONBLOCK);
}

SpawnedProgram::~SpawnedProgram()
{
    if (runs()) {
        ::kill(m_processId, SIGTERM);
        if (!waitForEnd(endMs)) {
            ::kill(m_processId, SIGKILL);
            ::waitpid(m_processId, &m_status, 0);
        }
    }
    closeStdin();
    m_output.close();
    m_errors.close();
}

bool SpawnedProgram::runs()
{
    m_ended = m_ended || ::waitpid(m_processId, &m_status, WNOHANG) == m_processId;
    return !m_ended;
}

void SpawnedProgram::listen(int ms)
{
    std::array<pollfd, 2> streams{pollfd{m_output.descriptor, POLLIN, 0},
                                  pollfd{m_errors.descriptor, POLLIN, 0}};
    ::poll(streams.data(), streams.size(), ms);
    m_output.take();
    m_errors.take();
}

bool SpawnedProgram::waitForEnd(int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (runs() && clock.elapsed() < ms)
        listen(tickMs);
    listen(0);
    return m_ended;
}

int SpawnedProgram::exitCode() const
{
    return m_processId > 0 && WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -2;
}

void SpawnedProgram::closeStdin()
{
    if (m_stdin >= 0)
        ::close(m_stdin);
    m_stdin = -1;
}

void SpawnedProgram::Stream::take()
{
    std::array<char, 65536> buffer{};
    ssize_t count = 1;
    while (descriptor >= 0 && (count = ::read(descriptor, buffer.data(), buffer.size())) > 0)
        bytes.append(buffer.data(), int(count));
    if (count == 0)
        close();
}

void SpawnedProgram::Stream::close()
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}
