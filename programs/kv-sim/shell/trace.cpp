// SPDX-License-Identifier: MIT
// --trace: what came and went, on stderr.
#include "shell/trace.h"

#include "shell/error_output.h"

#include <QTime>

namespace kvsim
{
namespace
{

std::string hexByte(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return {"0123456789ABCDEF"[value >> 4], "0123456789ABCDEF"[value & 15]};
}

std::string visible(const std::string &bytes)
{
    std::string text;
    for (const char byte : bytes) {
        if (byte == '\r')
            text += "<CR>";
        else if (byte == '\n')
            text += "<LF>";
        else if (byte < ' ' || byte > '~')
            text += "<" + hexByte(byte) + ">";
        else
            text += byte;
    }
    return text;
}

std::string hexBytes(const std::string &bytes)
{
    std::string text;
    for (const char byte : bytes)
        text += (text.empty() ? "" : " ") + hexByte(byte);
    return text;
}

void print(int connection, char direction, const std::string &text)
{
    const std::string time = QTime::currentTime().toString("HH:mm:ss.zzz").toStdString();
    tellError(time + " #" + std::to_string(connection) + " " + direction + " " + text);
}

} // namespace

void Trace::recordTo(Recorder &recorder, std::uint32_t plc)
{
    m_recorder = &recorder;
    m_plc = plc;
}

void Trace::record(int connection, EventKind kind, const std::string &bytes) const
{
    if (m_recorder)
        m_recorder->write({0, kind, m_plc, std::uint32_t(connection), bytes});
}

void Trace::opened(int connection, const std::string &text) const
{
    note(connection, text);
    record(connection, EventKind::Opened);
}

void Trace::lineIn(int connection, const Line &line) const
{
    const std::string text = requestText(line);
    if (m_shown)
        print(connection, '>', visible(text));
    record(connection, EventKind::In, text);
}

void Trace::requestIn(int connection, const RemoteRequest &request) const
{
    if (m_shown)
        print(connection, '>', hexBytes(request.bytes) + (request.broken.empty() ? "" : " (broken)"));
    record(connection, EventKind::In, request.bytes);
}

void Trace::bytesOut(int connection, const std::string &bytes) const
{
    if (m_shown)
        print(connection, '<', visible(bytes));
    record(connection, EventKind::Out, bytes);
}

void Trace::ending(int connection, Ending ending, const std::string &text) const
{
    note(connection, text);
    if (ending == Ending::Close)
        record(connection, EventKind::PlcClosed);
    else if (ending == Ending::Reset)
        record(connection, EventKind::PlcReset);
}

void Trace::closed(int connection) const
{
    note(connection, "disconnected");
    record(connection, EventKind::Closed);
}

void Trace::note(int connection, const std::string &text) const
{
    if (m_shown)
        print(connection, '-', text);
}

} // namespace kvsim
