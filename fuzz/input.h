// SPDX-License-Identifier: MIT
// What a fuzz target takes its choices from: the bytes of one input, from first to last.
//
// Front to back, so that a byte added or lost in the middle of an input moves whole steps of a
// session and spoils none. Past the end everything is 0 or empty. Our own and not the compiler's,
// so that the inputs can be replayed by tests that are built without a fuzzer. Take one choice in a
// statement: compilers differ in which operand they look at first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size) : m_at(data), m_end(data + size) {}

    bool empty() const { return m_at == m_end; }

    int byte() { return empty() ? 0 : *m_at++; }

    bool flag() { return (byte() & 1) != 0; }

    /// 0 .. bound - 1, from as few bytes as the bound needs.
    int below(int bound) { return int((bound <= 256 ? unsigned(byte()) : word()) % unsigned(bound)); }

    int between(int low, int high) { return low + below(high - low + 1); }

    /// Any int at all.
    int number()
    {
        const unsigned low = word();
        return int(low | word() << 16);
    }

    /// A length of at most `most` and so many bytes, or fewer at the end.
    std::string bytes(int most)
    {
        const std::ptrdiff_t wanted = below(most + 1);
        const std::ptrdiff_t length = std::min(wanted, m_end - m_at);
        const std::string taken(m_at, m_at + length);
        m_at += length;
        return taken;
    }

    /// As bytes(), as text that any reader of ASCII takes: no zero byte, nothing above 127.
    std::string ascii(int most)
    {
        std::string text = bytes(most);
        for (char &c : text)
            c = (c & 0x7F) == 0 ? ' ' : char(c & 0x7F);
        return text;
    }

    /// All that is left.
    std::string rest()
    {
        const std::string taken(m_at, m_end);
        m_at = m_end;
        return taken;
    }

private:
    unsigned word()
    {
        const unsigned low = unsigned(byte());
        return low | unsigned(byte()) << 8;
    }

    const std::uint8_t *m_at;
    const std::uint8_t *m_end;
};
