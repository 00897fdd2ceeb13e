// SPDX-License-Identifier: MIT
// Addresses as an engineer types them: each is refused with a reason, or names a range that the
// driver would take.
#include "address.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QString problem;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), int(size));
    const auto address = kvhost::parseAddress(text, &problem);
    if (!address) {
        require(!problem.isEmpty(), "a refused address is told why");
        return 0;
    }
    require(address->values >= 1 && address->elements >= 1 && address->number >= 0 && address->area >= 0 &&
                address->area <= 39,
            "an address names a range of an area");
    const auto again = kvhost::parseAddress(address->name(), &problem);
    require(again && again->area == address->area && again->number == address->number &&
                again->elements == address->elements,
            "what an address calls itself is the same address again");
    return 0;
}
