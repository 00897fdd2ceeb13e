// Reads the text that asks for a fault.
#pragma once

#include "fault_plan.h"

namespace kvsim
{

class FaultText
{
public:
    explicit FaultText(std::string_view text);

    /// \return empty, or what is wrong
    std::string into(Fault &fault);

private:
    bool done() const { return at_ >= words_.size(); }
    std::string_view take() { return done() ? std::string_view{} : words_[at_++]; }

    std::string vice(Fault &fault);
    std::string argument(Fault &fault, std::string_view text);
    std::string clause(Fault &fault, std::string_view key);
    std::string period(Fault &fault, std::string_view key);
    std::string probability(Fault &fault);
    std::string commands(Fault &fault);
    std::string deviceRange(Fault &fault);
    std::string finish(Fault &fault) const;

    std::string all_;
    std::vector<std::string_view> words_;
    std::size_t at_ = 0;
    bool timed_ = false;
};

} // namespace kvsim
