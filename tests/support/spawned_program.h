// SPDX-License-Identifier: MIT
// A program that a test starts, with its standard streams.
//
// On purpose: not a QProcess. That of Qt 6 calls clone() itself, upon which the thread sanitizer
// ends the test.
#pragma once

#include <QByteArray>
#include <QStringList>

#include <string>
#include <sys/types.h>

class SpawnedProgram
{
public:
    /// \param errorFile  takes its stderr, instead of errors(); empty: none
    SpawnedProgram(const QString &program, const QStringList &arguments, const QString &errorFile);
    /// Ends it by SIGTERM, or after a while by SIGKILL.
    ~SpawnedProgram();
    SpawnedProgram(const SpawnedProgram &) = delete;
    SpawnedProgram &operator=(const SpawnedProgram &) = delete;

    /// Stays the same after its end.
    pid_t processId() const { return m_processId; }
    bool runs();
    /// Takes what it has written. Waits up to so many milliseconds for the first of it.
    void listen(int ms);
    /// \return whether it has ended within so many milliseconds
    bool waitForEnd(int ms);
    /// Its exit code; -2 if a signal ended it, or if it never started. After its end.
    int exitCode() const;
    void closeStdin();

    QByteArray output() const { return m_output.bytes; }
    QByteArray errors() const { return m_errors.bytes; }

private:
    struct Stream {
        int descriptor = -1;
        QByteArray bytes;

        void take();
        void close();
    };

    pid_t m_processId = -1;
    int m_stdin = -1;
    Stream m_output;
    Stream m_errors;
    bool m_ended = false;
    int m_status = 0;
};
