// SPDX-License-Identifier: MIT
#include "copy_rows.h"

#include "store/codes.h"
#include "text/json_text.h"

#include <cmath>
#include <cstring>
#include <type_traits>

namespace kvgateway
{

namespace
{

constexpr qint16 columnCount = 8;
constexpr char jsonbVersion = 1;
constexpr qint64 usToYear2000 = 946'684'800'000'000; // PostgreSQL counts from there

// The highest byte first.
template <typename Whole>
QByteArray bigEndian(Whole value)
{
    QByteArray bytes(int(sizeof value), '\0');
    auto bits = std::make_unsigned_t<Whole>(value);
    for (int i = int(sizeof value) - 1; i >= 0; --i) {
        bytes[i] = char(bits & 0xFF);
        bits = std::make_unsigned_t<Whole>(bits >> 7 >> 1);
    }
    return bytes;
}

QByteArray bytesOf(double number)
{
    qint64 bits = 0;
    static_assert(sizeof bits == sizeof number);
    std::memcpy(&bits, &number, sizeof bits);
    return bigEndian(bits);
}

QString storable(QString text)
{
    return text.replace(QChar(QChar::Null), QChar(QChar::ReplacementCharacter));
}

QByteArray listText(std::vector<kvlink::Scalar> list)
{
    for (kvlink::Scalar &scalar : list) {
        if (auto *text = std::get_if<QString>(&scalar))
            *text = storable(std::move(*text));
    }
    QByteArray text(1, jsonbVersion);
    appendJson(text, kvlink::Value(std::move(list)));
    return text;
}

} // namespace

CopyRows::CopyRows()
{
    static constexpr char signature[] = "PGCOPY\n\377\r\n"; // with the 0 at its end
    m_bytes = QByteArray(signature, int(sizeof signature));
    m_bytes += bigEndian(qint32(0)); // flags
    m_bytes += bigEndian(qint32(0)); // length of more header
}

QByteArray CopyRows::finish() &&
{
    m_bytes += bigEndian(qint16(-1));
    return std::move(m_bytes);
}

void CopyRows::field(const QByteArray &bytes)
{
    m_bytes += bigEndian(qint32(bytes.size()));
    m_bytes += bytes;
}

void CopyRows::nothing()
{
    m_bytes += bigEndian(qint32(-1));
}

// Three columns: a number, a text, a list.
void CopyRows::value(const kvlink::Value &value)
{
    std::optional<double> number = numberOf(value);
    if (number && !std::isfinite(*number))
        number.reset();
    const auto *text = std::get_if<QString>(&value);
    const auto *list = std::get_if<std::vector<kvlink::Scalar>>(&value);
    number ? field(bytesOf(*number)) : nothing();
    text != nullptr ? field(storable(*text).toUtf8()) : nothing();
    list != nullptr ? field(listText(*list)) : nothing();
}

void CopyRows::add(qint32 tag, const OutletRow &row)
{
    const kvlink::Sample &sample = row.sample;
    m_bytes += bigEndian(columnCount);
    field(bigEndian(tag));
    // Whole milliseconds, as a row has them that waited on disk: else it would be another one.
    field(bigEndian(toMs(sample.time) * 1000 - usToYear2000));
    field(bigEndian(qint64(row.seq)));
    field(kvlink::qualityName(sample.quality).toUtf8());
    const QString reason = sample.quality == kvlink::Quality::Bad ? sample.reasonText() : QString();
    reason.isEmpty() ? nothing() : field(reason.toUtf8());
    value(sample.isGood() ? sample.value : kvlink::Value());
}

} // namespace kvgateway
