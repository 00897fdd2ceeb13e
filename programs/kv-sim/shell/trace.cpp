// SPDX-License-Identifier: MIT
// --trace: what came and went, on stderr.
#include "shell/trace.h"

#include <QTime>

#include <cstdio>

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
    std::fprintf(stderr, "%s #%d %c %s\n", time.c_str(), connection, direction, text.c_str());
}

} // namespace

void Trace::lineIn(int connection, const Line &line) const
{
    if (m_on)
        print(connection, '>', line.tooLong ? "(a line that is too long)<CR>" : visible(line.text) + "<CR>");
}

void Trace::requestIn(int connection, const RemoteRequest &request) const
{
    if (m_on)
        print(connection, '>', hexBytes(request.bytes) + (request.broken.empty() ? "" : " (broken)"));
}

void Trace::bytesOut(int connection, const std::string &bytes) const
{
    if (m_on)
        print(connection, '<', visible(bytes));
}

void Trace::note(int connection, const std::string &text) const
{
    if (m_on)
        print(connection, '-', text);
}

} // namespace kvsim
