// Bytes of the driver into values that people and programs read, and back.
#pragma once

#include "address.h"

#include <QByteArray>
#include <QStringList>

#include <optional>

namespace kvhost
{

enum class WordOrder { LowFirst, HighFirst };

/// One value: a number, or a text with Format::Text.
struct Value {
    Format format = Format::Unsigned;
    Element element = Element::Word;
    qint64 whole = 0;  ///< all formats but Float and Text
    double real = 0.0; ///< Float
    QString text;      ///< Text

    bool operator==(const Value &other) const;
    double number() const { return format == Format::Float ? real : double(whole); }
};

/// \param data what GetRegisterData gave for the address: 1 byte a bit or contact, 2 a word, 4 a double word
QVector<Value> decodeValues(const Address &address, const QByteArray &data, WordOrder order);

/// As shown to people: "65535", "-1", "1A2B", "1.5", "text".
QString shown(const Value &value);

/// Bytes for SetRegisterData from values as typed; one text for each value of the address.
/// Numbers may be decimal, 0x hexadecimal, or on/off and true/false for bits; .H takes hexadecimal digits.
std::optional<QByteArray> encodeValues(const Address &address, const QStringList &typed, WordOrder order,
                                       QString *problem);

} // namespace kvhost
