// SPDX-License-Identifier: MIT
// Fuzzes the line parser of kv-sim: any bytes on a text line, whole and byte by byte.
//
// The first byte chooses switches, the rest is what a host sends.
#include "plc/simulator.h"
#include "require.h"

namespace
{

kvsim::Rules rulesFrom(unsigned char choice)
{
    kvsim::Rules rules;
    rules.family = choice == 0xFF ? kvsim::Family::Kv8000 : kvsim::Family::Kv700; // the small memory is fast
    rules.opening = (choice & 1U) != 0 ? kvsim::Opening::Required : kvsim::Opening::Never;
    rules.values.upperOnly = (choice & 2U) != 0;
    rules.unaligned = (choice & 4U) != 0;
    rules.values.negativeWraps = (choice & 8U) != 0;
    rules.atWritable = (choice & 16U) != 0;
    rules.triplesWithBlanks = (choice & 32U) != 0;
    return rules;
}

class Line
{
public:
    explicit Line(unsigned char choice) : m_simulator(rulesFrom(choice)), m_splitter((choice & 64U) != 0) {}

    void feed(std::string_view bytes)
    {
        while (const auto line = m_splitter.next(bytes)) {
            const kvsim::Delivery delivery = m_simulator.serve(*line, m_link);
            require(delivery.steps.size() == 1, "a line gets one answer");
            const std::string &answer = delivery.steps[0].bytes;
            require(answer.find('\r') == answer.size() - 2 && answer.back() == '\n',
                    "an answer ends with its one CR LF");
            answers += answer;
        }
    }

    std::string answers;

private:
    kvsim::Simulator m_simulator;
    kvsim::LineSplitter m_splitter;
    kvsim::Link m_link;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
    Line whole(data[0]);
    whole.feed(bytes);
    Line single(data[0]);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        single.feed(bytes.substr(i, 1));
    require(whole.answers == single.answers, "segmentation changes nothing");
    return 0;
}
