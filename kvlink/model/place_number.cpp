// SPDX-License-Identifier: MIT
// Device letters and numbers.
//
// The letters decide: "CTC5" is CTC and not C. Only where numbers are hexadecimal may letters
// belong to the number: "BE0" is B, number E0.
#include "model/place_number.h"

#include "model/near_name.h"
#include "model/place_text.h"

#include <charconv>
#include <limits>

namespace kvlink
{

namespace
{

constexpr int channelStep = 100; // R1000 and R1100 are neighbouring channels

bool isLetter(char c)
{
    return c >= 'A' && c <= 'Z';
}

std::string_view lettersOf(std::string_view text)
{
    size_t length = 0;
    while (length < text.size() && isLetter(text[length]))
        ++length;
    return text.substr(0, length);
}

const Device *hexadecimalDevice(std::string_view text)
{
    for (const Device &device : devices()) {
        const std::string_view name = device.name;
        const bool fits = device.isHexadecimal() && text.substr(0, name.size()) == name;
        if (fits && (text.size() == name.size() || plainNumber(text.substr(name.size()), 16)))
            return &device;
    }
    return nullptr;
}

const Device *deviceOf(std::string_view text)
{
    const Device *device = deviceNamed(lettersOf(text));
    return device != nullptr ? device : hexadecimalDevice(text);
}

QString exampleOf(const Device &device)
{
    const QString range = QString::fromLatin1(device.range);
    return range.left(range.indexOf(QLatin1Char(' ')));
}

std::optional<int> channelBit(const Device &device, int whole, QString &problem)
{
    const int bit = whole % channelStep;
    const int channel = whole / channelStep;
    if (bit < bitsOfWord)
        return channel * bitsOfWord + bit;
    problem = QStringLiteral("the last two digits are the bit, 00 to 15; after %1%2 comes %1%3")
                  .arg(QLatin1String(device.name))
                  .arg(channel * channelStep + bitsOfWord - 1)
                  .arg((channel + 1) * channelStep);
    return std::nullopt;
}

} // namespace

std::optional<int> plainNumber(std::string_view digits, int base)
{
    unsigned number = 0;
    const char *end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, base);
    if (digits.empty() || stop != end || error == std::errc::invalid_argument)
        return std::nullopt;
    const auto largest = std::numeric_limits<int>::max();
    return error == std::errc() && number <= unsigned(largest) ? int(number) : largest;
}

std::optional<int> numberOf(const Device &device, std::string_view digits, QString &problem)
{
    if (digits.empty()) {
        problem =
            QStringLiteral("%1 needs a number, as in %2").arg(QLatin1String(device.name), exampleOf(device));
        return std::nullopt;
    }
    const auto number = plainNumber(digits, device.isHexadecimal() ? 16 : 10);
    if (!number) {
        problem = QStringLiteral("'%1' is not a number of %2: %3 digits are expected (%4)")
                      .arg(textOf(digits), QLatin1String(device.name),
                           device.isHexadecimal() ? QStringLiteral("hexadecimal") : QStringLiteral("decimal"),
                           QLatin1String(device.range));
        return std::nullopt;
    }
    const int largest = std::numeric_limits<int>::max() / bitsOfWord / 2;
    if (*number > largest) {
        problem = QStringLiteral("a KV-8000 has %1").arg(QLatin1String(device.range));
        return std::nullopt;
    }
    if (device.notation == Notation::ChannelBit)
        return channelBit(device, *number, problem);
    return number;
}

std::optional<DeviceNumber> deviceNumber(std::string_view text, QString &problem)
{
    const Device *device = deviceOf(text);
    if (device == nullptr)
        return std::nullopt;
    const std::string_view digits = text.substr(std::string_view(device->name).size());
    const auto number = numberOf(*device, digits, problem);
    if (!number)
        return std::nullopt;
    return DeviceNumber{device, *number};
}

QString nearDeviceText(std::string_view text)
{
    const std::string_view letters = lettersOf(text);
    const std::string_view digits = text.substr(letters.size());
    QStringList names;
    for (const Device &device : devices())
        names << QString::fromLatin1(device.name);
    QString name;
    // On purpose: of single letters only those whose numbers are the same elsewhere. M100, X100 and
    // L100 of other notations are not MR100, R100 and LR100: a proposal would name a wrong bit.
    if (letters == "D" || letters == "E" || letters == "F")
        name = textOf(letters) + QLatin1Char('M');
    else if (letters.size() > 1)
        name = nearestName(textOf(letters), names);
    const Device *device = findDevice(name);
    QString unused;
    if (device == nullptr || !numberOf(*device, digits, unused))
        return {};
    return name + textOf(digits);
}

} // namespace kvlink
