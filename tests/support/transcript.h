// SPDX-License-Identifier: MIT
// Whole exchanges as transcripts. A script says, line by line, what goes over the wire and what the
// host is told. A frame, callback or debug line that is not in the script fails the test.
//
//     # a remark
//     > RDS DM100.U 3\r -> 19           the driver hands out this frame and expects 19 bytes
//     < 00001 00002 65535\r\n = 1       this reply comes; DataCom reports 1
//     silence = 46                      no reply comes before the time-out
//     callback notify 77 5 50 1         the next callback since the last step
//     line init handshake               the next debug line since the last step
//     idle                              there is nothing to send
//
// Texts may hold \r, \n, \\ and \xHH; "> (empty)" is a frame of no bytes, "> hex 18 05" a binary
// one. "-> 19" may be left out.
// Debug lines and callbacks come after the step that caused them, each kind in its order.
#pragma once

#include "driver_test.h"

#include <deque>
#include <sstream>

class TranscriptTest : public DriverTest
{
protected:
    void play(const char *script)
    {
        std::istringstream text(script);
        std::string line;
        for (int number = 1; std::getline(text, line); ++number) {
            line = trimmed(line);
            if (line.empty() || line.front() == '#')
                continue;
            SCOPED_TRACE("script line " + std::to_string(number) + ": " + line);
            if (!told(line))
                step(line);
        }
        expectNothingMore("the end of the script");
    }

private:
    std::deque<std::string> m_lines;
    std::deque<std::string> m_callbacks;

    static std::string trimmed(const std::string &text)
    {
        const std::size_t first = text.find_first_not_of(" \t");
        if (first == std::string::npos)
            return "";
        return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
    }

    /// What follows a word at the beginning of a line; false if the line begins otherwise.
    static bool after(const std::string &line, const std::string &word, std::string &rest)
    {
        if (line.compare(0, word.size(), word) != 0)
            return false;
        rest = trimmed(line.substr(word.size()));
        return true;
    }

    /// "text = 46" is cut into text and 46; false if there is no number.
    static bool cut(std::string &text, const std::string &sign, int &number)
    {
        const std::size_t at = text.rfind(sign);
        if (at == std::string::npos)
            return false;
        std::istringstream digits(text.substr(at + sign.size()));
        if (!(digits >> number) || !digits.eof())
            return false;
        text = trimmed(text.substr(0, at));
        return true;
    }

    /// The character that is meant by a letter after a backslash.
    static char controlCharacter(char letter)
    {
        if (letter == 'r')
            return '\r';
        return letter == 'n' ? '\n' : letter;
    }

    static std::string unescaped(const std::string &text)
    {
        std::string bytes;
        for (std::size_t at = 0; at < text.size(); ++at) {
            if (text[at] != '\\' || at + 1 == text.size()) {
                bytes += text[at];
                continue;
            }
            const char kind = text[++at];
            if (kind == 'x' && at + 2 < text.size()) {
                bytes += char(std::stoi(text.substr(at + 1, 2), nullptr, 16));
                at += 2;
            } else {
                bytes += controlCharacter(kind);
            }
        }
        return bytes;
    }

    static std::string escaped(const std::string &bytes)
    {
        static const char digits[] = "0123456789ABCDEF";
        std::string text;
        for (const char byte : bytes) {
            const unsigned char code = static_cast<unsigned char>(byte);
            if (byte == '\r')
                text += "\\r";
            else if (byte == '\n')
                text += "\\n";
            else if (byte == '\\')
                text += "\\\\";
            else if (code < 0x20 || code > 0x7E)
                text += std::string("\\x") + digits[code / 16] + digits[code % 16];
            else
                text += byte;
        }
        return text;
    }

    // --- what the host hears ---

    void hear()
    {
        for (const std::string &line : takeLines())
            m_lines.push_back(line);
        for (const std::string &callback : takeCallbacks())
            m_callbacks.push_back(callback);
    }

    static void expectNext(std::deque<std::string> &heard, const std::string &expected)
    {
        if (heard.empty()) {
            ADD_FAILURE() << "expected \"" << expected << "\", but nothing came";
            return;
        }
        EXPECT_EQ(escaped(heard.front()), escaped(unescaped(expected)));
        heard.pop_front();
    }

    void expectNothingMore(const std::string &before)
    {
        for (const std::string &line : m_lines)
            ADD_FAILURE() << "debug line that stands in no script, before " << before << ": " << line;
        for (const std::string &callback : m_callbacks)
            ADD_FAILURE() << "callback that stands in no script, before " << before << ": " << callback;
        m_lines.clear();
        m_callbacks.clear();
    }

    bool told(const std::string &line)
    {
        std::string rest;
        if (after(line, "line ", rest))
            expectNext(m_lines, rest);
        else if (after(line, "callback ", rest))
            expectNext(m_callbacks, rest);
        else
            return false;
        return true;
    }

    // --- what goes over the wire ---

    void step(const std::string &line)
    {
        expectNothingMore("this step");
        std::string rest;
        int code = 0;
        if (line == "idle")
            expectIdle();
        else if (after(line, "> ", rest))
            expectFrame(rest);
        else if (after(line, "<", rest) && cut(rest, "=", code))
            expectResult(unescaped(rest), code);
        else if (after(line, "silence", rest) && cut(rest, "=", code) && rest.empty())
            expectResult("", code);
        else
            ADD_FAILURE() << "this is no line of a script";
        hear();
    }

    static void expectIdle()
    {
        const quintptr head = ComCommunication();
        if (head != 0)
            ADD_FAILURE() << "frame that stands in no script: "
                          << escaped(reinterpret_cast<const Protocol *>(head)->frame.toStdString());
    }

    static void expectFrame(std::string expected)
    {
        int replyLength = 0;
        const bool lengthGiven = cut(expected, "->", replyLength);
        const quintptr head = ComCommunication();
        if (head == 0) {
            ADD_FAILURE() << "nothing was sent";
            return;
        }
        const Protocol &frame = *reinterpret_cast<const Protocol *>(head);
        const QByteArray sent = frame.frame.left(frame.frameLength);
        std::string digits;
        if (after(expected, "hex ", digits))
            EXPECT_EQ(hex(sent), digits);
        else if (expected == "(empty)")
            EXPECT_EQ(escaped(sent.toStdString()), "");
        else
            EXPECT_EQ(escaped(sent.toStdString()), escaped(unescaped(expected)));
        if (lengthGiven) {
            EXPECT_EQ(frame.replyLength, replyLength) << "length of the reply to wait for";
        }
    }

    static void expectResult(const std::string &bytes, int code)
    {
        if (PLC_driver.frameQueue.isEmpty())
            ADD_FAILURE() << "no frame is in flight";
        QByteArray reply = QByteArray::fromStdString(bytes);
        const RW_VAR &var = *reinterpret_cast<const RW_VAR *>(DataCom(&reply, int(reply.size())));
        EXPECT_EQ(var.result, code) << "result of DataCom";
    }
};
