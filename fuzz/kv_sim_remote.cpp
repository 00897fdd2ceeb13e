// SPDX-License-Identifier: MIT
// Fuzzes the remote-area parser of kv-sim: any bytes on a remote-area line, whole and byte by byte.
#include "plc/simulator.h"
#include "require.h"

namespace
{

class Line
{
public:
    Line() : m_simulator(rules()) {}

    void feed(std::string_view bytes)
    {
        while (const auto request = m_reader.next(bytes))
            serve(*request);
    }

    void silence()
    {
        if (const auto request = m_reader.silence()) {
            const kvsim::DeviceMemory before = m_simulator.plc().memory();
            serve(*request);
            require(answers.substr(answers.size() - 4, 1) == "E", "a broken request gets an error answer");
            require(before == m_simulator.plc().memory(), "a broken request changes nothing");
        }
        require(!m_reader.waiting(), "nothing is waited for after a silence");
    }

    std::string answers;

private:
    static kvsim::Rules rules()
    {
        kvsim::Rules rules;
        rules.family = kvsim::Family::Kv700; // the small memory is fast
        return rules;
    }

    void serve(const kvsim::RemoteRequest &request)
    {
        const kvsim::Delivery delivery = m_simulator.serveRemote(request);
        const bool quiet = request.write && request.station == 0 && request.broken.empty();
        require(delivery.steps.size() == (quiet ? 0U : 1U),
                "a request gets one answer, a write to station 0 none");
        for (const kvsim::Step &step : delivery.steps)
            answers += step.bytes;
    }

    kvsim::Simulator m_simulator;
    kvsim::RemoteReader m_reader;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    Line whole;
    whole.feed(bytes);
    whole.silence();
    Line single;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        single.feed(bytes.substr(i, 1));
    single.silence();
    require(whole.answers == single.answers, "segmentation changes nothing");
    return 0;
}
