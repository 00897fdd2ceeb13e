// SPDX-License-Identifier: MIT
// The small fixed program of the simulated PLC.
#include "scan/fixed_program.h"

#include <cmath>
#include <numbers>

namespace kvsim
{
namespace
{

constexpr std::uint32_t blinkScans = 5;           // R500 is on for 5 scans, off for 5
constexpr std::uint32_t sinePeriod = 100;         // scans
constexpr std::uint32_t overHalf = 3'000'000'000; // above 2147483647, where signed readers fail
constexpr std::uint32_t timer0Set = 100;
constexpr std::uint32_t timer0Hold = 10; // scans for which the contact stays on
constexpr std::uint32_t timer1Set = 50;
constexpr std::uint32_t counter0Set = 10;
constexpr std::uint32_t fastCounterStep = 37;
constexpr std::uint32_t comparatorSet = 1000;

const Device &device(const char *name)
{
    return *deviceNamed(name);
}

// On a model that lacks the device this does nothing: its cells do not exist.
void put(DeviceMemory &memory, const char *name, std::uint32_t element, Format format, std::uint32_t value)
{
    memory.setValue(device(name), element, format, value);
}

std::uint32_t wave(std::uint32_t scans, double middle, double swing, double shift)
{
    const double turn = 2.0 * std::numbers::pi * (scans % sinePeriod) / sinePeriod;
    return std::uint32_t(std::lround(middle + swing * std::sin(turn + shift))) & 0xFFFFU;
}

bool blinkOn(std::uint32_t scans)
{
    return scans / blinkScans % 2 == 0;
}

} // namespace

void FixedProgram::scan(DeviceMemory &memory)
{
    moveWords(memory);
    moveDoubleWords(memory);
    moveRelays(memory);
    runTimers(memory);
    runCounters(memory);
    ++m_scans;
}

void FixedProgram::moveWords(DeviceMemory &memory) const
{
    const Device &dm = device("DM");
    put(memory, "DM", 0, Format::U, (memory.value(dm, 0, Format::U) + 1) & 0xFFFFU);
    put(memory, "DM", 10, Format::U, wave(m_scans, 500, 500, 0));
    put(memory, "DM", 11, Format::U, wave(m_scans, 500, 500, std::numbers::pi / 2));
    put(memory, "DM", 12, Format::U, wave(m_scans, 0, 1000, 0)); // below zero in the second half of the wave
    put(memory, "EM", 0, Format::U, (0xFFFFU - m_scans) & 0xFFFFU);
    put(memory, "W", 0x10, Format::U, m_scans & 0xFFU);
    put(memory, "TM", 0, Format::U, m_scans % 60);
}

void FixedProgram::moveDoubleWords(DeviceMemory &memory) const
{
    put(memory, "DM", 20, Format::D, overHalf + m_scans % 1'000'000 * 1000);
    put(memory, "Z", 1, Format::D, m_scans * 3);
    put(memory, "Z", 2, Format::D, overHalf + m_scans % 1'000'000);
    put(memory, "AT", 0, Format::D, m_scans % 1001);
    put(memory, "AT", 1, Format::D, overHalf + m_scans % 1001);
}

void FixedProgram::moveRelays(DeviceMemory &memory) const
{
    const bool on = blinkOn(m_scans);
    put(memory, "R", 5 * 16, Format::Bit, on ? 1 : 0);
    put(memory, "R", 5 * 16 + 1, Format::Bit, on ? 0 : 1);
    put(memory, "R", 6 * 16, Format::U, 1U << (m_scans % 16));
    put(memory, "MR", 16, Format::Bit, m_scans % 2);
    put(memory, "B", 0x10, Format::Bit, on ? 1 : 0);
}

void FixedProgram::runTimers(DeviceMemory &memory)
{
    TimerCells slow = memory.timer(device("T"), 0);
    slow.set = timer0Set;
    if (slow.current < slow.set) {
        ++slow.current;
        m_heldScans = 0;
    } else if (++m_heldScans >= timer0Hold) {
        slow.current = 0;
    }
    slow.contact = slow.current >= slow.set;
    memory.setTimer(device("T"), 0, slow);

    TimerCells endless = memory.timer(device("T"), 1);
    endless.set = timer1Set;
    endless.current = endless.current < endless.set ? endless.current + 1 : 0;
    endless.contact = endless.current == endless.set;
    memory.setTimer(device("T"), 1, endless);
}

void FixedProgram::runCounters(DeviceMemory &memory)
{
    TimerCells pulses = memory.timer(device("C"), 0);
    pulses.set = counter0Set;
    if (m_scans % (2 * blinkScans) == 0) // R500 has just come on
        pulses.current = pulses.current < pulses.set ? pulses.current + 1 : 0;
    pulses.contact = pulses.current == pulses.set;
    memory.setTimer(device("C"), 0, pulses);

    TimerCells fast = memory.timer(device("CTH"), 0);
    TimerCells comparator = memory.timer(device("CTC"), 0);
    fast.current += fastCounterStep;
    comparator.set = comparatorSet;
    comparator.contact = fast.current >= comparator.set;
    comparator.current = fast.current;
    if (comparator.contact)
        fast.current = 0;
    memory.setTimer(device("CTH"), 0, fast);
    memory.setTimer(device("CTC"), 0, comparator);
}

} // namespace kvsim
