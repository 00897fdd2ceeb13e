// SPDX-License-Identifier: MIT
// A descriptor that is closed with its owner.
#pragma once

#include <unistd.h>
#include <utility>

namespace kvlink
{

class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor &&other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        if (this != &other) {
            reset();
            m_number = std::exchange(other.m_number, -1);
        }
        return *this;
    }

    int number() const { return m_number; } ///< -1: none
    bool isOpen() const { return m_number >= 0; }
    void reset()
    {
        if (isOpen())
            ::close(std::exchange(m_number, -1));
    }

private:
    int m_number = -1;
};

} // namespace kvlink
