// SPDX-License-Identifier: MIT
// A client on the pseudo-terminal, as a host opens it: by its path.
#pragma once

#include "sim_process.h"

#include <QTemporaryDir>

class SerialClient
{
public:
    explicit SerialClient(const QString &path);
    ~SerialClient();
    SerialClient(const SerialClient &) = delete;
    SerialClient &operator=(const SerialClient &) = delete;

    bool isOpen() const { return m_terminal >= 0; }
    void send(const std::string &bytes) const;
    /// Without blocking, bytes that the line does not take are dropped.
    void setBlocking(bool on) const;
    std::string receive(std::size_t count) const;
    /// What comes within a short while although nothing should.
    std::string surplus() const;

private:
    int m_terminal = -1;
};
