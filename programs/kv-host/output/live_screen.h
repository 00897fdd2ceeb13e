// SPDX-License-Identifier: MIT
// The terminal while the live table is shown: a screen of its own, keys without Enter.
#pragma once

#include "output.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>

#include <termios.h>

namespace kvhost
{

/// One at a time. Afterwards the terminal is as it was before.
class LiveScreen
{
public:
    /// \param onKey called with each key: "s", "\x1b[A", "ä"
    LiveScreen(Output &out, std::function<void(const QByteArray &key)> onKey);
    ~LiveScreen();
    LiveScreen(const LiveScreen &) = delete;
    LiveScreen &operator=(const LiveScreen &) = delete;

    int width() const;
    int height() const;
    bool hasColours() const;

    void draw(const QStringList &lines);
    /// Leaves the own screen; the last lines stand on the usual one.
    void finish();

private:
    void takeKeys();

    Output &m_out;
    std::function<void(const QByteArray &)> m_onKey;
    std::unique_ptr<QSocketNotifier> m_keys;
    termios m_before{};
    bool m_hasKeys = false;
    bool m_isFinished = false;
    QStringList m_last;
};

/// The keys of what a terminal sent at once: escape sequences and characters of UTF-8
/// stay whole. Pure.
QList<QByteArray> keysOf(const QByteArray &bytes);

} // namespace kvhost
