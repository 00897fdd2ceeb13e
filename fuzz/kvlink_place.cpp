// SPDX-License-Identifier: MIT
// Addresses as engineers type them: each is refused with a sentence, or is a place within the range
// of its device that reads and writes can be made for.
#include "model/value_codec.h"
#include "require.h"

using kvlink::Place;

namespace
{

void requireSamePlace(const Place &place)
{
    QString problem;
    const auto again = kvlink::parsePlace(place.name(), problem);
    require(again && again->area == place.area && again->number == place.number &&
                again->elements == place.elements && again->format == place.format,
            "the name of a place is the same place again");
    const auto last = kvlink::parsePlace(place.nameOfValue(place.values - 1), problem);
    require(last && last->number == place.number + (place.values - 1) * place.elementsPerValue(),
            "the name of its last value is that value");
}

void requireReadable(const Place &place)
{
    kvlink::UnitBlock block{place.readArea(), place.firstUnit(), place.unitCount(), {}, {}, {}, {}};
    block.whole = block.current = block.set = QByteArray(4 * place.unitCount(), '\0');
    block.contact = QByteArray(place.unitCount(), '\0');
    const QByteArray raw = kvlink::rawOf(place, block);
    require(raw.size() == kvlink::rawSize(place) && !raw.isEmpty(), "its own units cover a place");
    const auto value = kvlink::decode(place, raw.constData(), {}, 1.0, 0.0);
    require(value.has_value(), "zeros are a value of every place");
    QString problem;
    if (!kvlink::canWrite(place, problem))
        return;
    const auto typed = kvlink::valueFromText(place, kvlink::shown(place, *value), 1.0, 0.0, problem);
    require(typed && *typed == *value, "what is shown can be typed");
    const auto requests = kvlink::encode(place, *value, {}, 1.0, 0.0, 128, problem);
    require(requests.has_value(), "what was read can be written");
    QByteArray written;
    for (const kvlink::WriteUnits &one : *requests)
        written += one.data;
    require(written == raw, "what is written is what was read");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QString problem;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), int(size));
    const auto place = kvlink::parsePlace(text, problem);
    if (!place) {
        require(!problem.isEmpty(), "a refused address has a sentence");
        return 0;
    }
    require(place->values >= 1 && place->elements >= 1 && place->number >= 0 && place->area >= 0 &&
                place->area <= 39,
            "a place is a range of an area");
    requireSamePlace(*place);
    // Of long places the parser alone is worth the time.
    if (place->values <= 1000)
        requireReadable(*place);
    return 0;
}
