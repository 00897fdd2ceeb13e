// SPDX-License-Identifier: MIT
// UTF-8 and Latin-1 by Qt; Shift-JIS by iconv, which is the same whichever Qt there is.
#include "model/text_encoding.h"

#include <iconv.h>

#include <cstdint>

namespace kvlink
{

namespace
{

// The Shift-JIS of Windows, where PLCs are programmed: a backslash stays a backslash.
constexpr char shiftJis[] = "CP932";
constexpr char utf8[] = "UTF-8";

// A half-width katakana is one byte in Shift-JIS and three in UTF-8; nothing grows more.
constexpr int mostGrowth = 3;

// One direction of a conversion. Opening one takes longer than hundreds of conversions, so each
// thread keeps its own.
class Converter
{
public:
    Converter(const char *to, const char *from) : m_handle(iconv_open(to, from)) {}
    ~Converter()
    {
        if (isOpen())
            iconv_close(m_handle);
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;

    std::optional<QByteArray> convert(QByteArray bytes)
    {
        if (!isOpen())
            return std::nullopt;
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        QByteArray converted(bytes.size() * mostGrowth, '\0');
        char *in = bytes.data();
        char *out = converted.data();
        auto inLeft = size_t(bytes.size());
        auto outLeft = size_t(converted.size());
        // Above 0 it counts characters that were replaced by similar ones: not what was meant.
        if (iconv(m_handle, &in, &inLeft, &out, &outLeft) != 0)
            return std::nullopt;
        converted.truncate(int(out - converted.data()));
        return converted;
    }

private:
    bool isOpen() const { return reinterpret_cast<std::intptr_t>(m_handle) != -1; }

    iconv_t m_handle;
};

std::optional<QString> fromUtf8(const QByteArray &bytes)
{
    // Qt replaces what is not UTF-8; then the bytes do not come back.
    const QString text = QString::fromUtf8(bytes);
    return text.toUtf8() == bytes ? std::optional(text) : std::nullopt;
}

std::optional<QString> fromShiftJis(const QByteArray &bytes)
{
    thread_local Converter converter(utf8, shiftJis);
    const auto converted = converter.convert(bytes);
    return converted ? std::optional(QString::fromUtf8(*converted)) : std::nullopt;
}

std::optional<QByteArray> toUtf8(const QString &text)
{
    // Half a surrogate pair is replaced, and does not come back.
    QByteArray bytes = text.toUtf8();
    return QString::fromUtf8(bytes) == text ? std::optional(bytes) : std::nullopt;
}

std::optional<QByteArray> toShiftJis(const QString &text)
{
    thread_local Converter converter(shiftJis, utf8);
    const auto bytes = toUtf8(text);
    return bytes ? converter.convert(*bytes) : std::nullopt;
}

std::optional<QByteArray> toLatin1(const QString &text)
{
    QByteArray bytes = text.toLatin1();
    return QString::fromLatin1(bytes) == text ? std::optional(bytes) : std::nullopt;
}

} // namespace

std::optional<QString> textFromBytes(const QByteArray &bytes, TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::Utf8:
        return fromUtf8(bytes);
    case TextEncoding::ShiftJis:
        return fromShiftJis(bytes);
    case TextEncoding::Latin1:
        return QString::fromLatin1(bytes);
    }
    return std::nullopt;
}

std::optional<QByteArray> bytesFromText(const QString &text, TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::Utf8:
        return toUtf8(text);
    case TextEncoding::ShiftJis:
        return toShiftJis(text);
    case TextEncoding::Latin1:
        return toLatin1(text);
    }
    return std::nullopt;
}

QString encodingName(TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::Utf8:
        return QStringLiteral("UTF-8");
    case TextEncoding::ShiftJis:
        return QStringLiteral("Shift-JIS");
    case TextEncoding::Latin1:
        return QStringLiteral("Latin-1");
    }
    return {};
}

} // namespace kvlink
