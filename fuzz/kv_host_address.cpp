// Addresses as an engineer types them: each is refused with a reason, or names a range that the driver would
// take.
#include "address.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QString problem;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), int(size));
    const auto address = kvhost::parseAddress(text, &problem);
    if (!address) {
        if (problem.isEmpty())
            std::abort(); // refused without a word
        return 0;
    }
    if (address->values < 1 || address->elements < 1 || address->number < 0 || address->area < 0 ||
        address->area > 39)
        std::abort();
    // What it calls itself is the same address again.
    const auto again = kvhost::parseAddress(address->name(), &problem);
    if (!again || again->area != address->area || again->number != address->number ||
        again->elements != address->elements)
        std::abort();
    return 0;
}
