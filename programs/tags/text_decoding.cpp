// SPDX-License-Identifier: MIT
// Encodings through iconv, which says where the first wrong byte is.
#include "text_decoding.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace kvtags
{

namespace
{

constexpr char utf8Mark[] = "\xEF\xBB\xBF";
constexpr char littleEndianMark[] = "\xFF\xFE";
constexpr char bigEndianMark[] = "\xFE\xFF";
constexpr const char *ownUtf16 = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? "UTF-16LE" : "UTF-16BE";
constexpr ushort firstPrintable = 0x20;
constexpr ushort deleteCharacter = 0x7F;

// Which name iconv has for it, and where the text begins.
struct Source {
    const char *encoding;
    int begin = 0;
};

Source sourceOf(const QByteArray &bytes, FileEncoding encoding)
{
    if (bytes.startsWith(utf8Mark))
        return {"UTF-8", 3};
    if (bytes.startsWith(littleEndianMark))
        return {"UTF-16LE", 2};
    if (bytes.startsWith(bigEndianMark))
        return {"UTF-16BE", 2};
    switch (encoding) {
    case FileEncoding::Utf8:
        break;
    case FileEncoding::Utf16:
        return {"UTF-16LE"};
    case FileEncoding::Windows1252:
        return {"CP1252"};
    case FileEncoding::Latin1:
        return {"ISO-8859-1"};
    case FileEncoding::ShiftJis:
        return {"CP932"};
    }
    return {"UTF-8"};
}

// \return how many bytes were taken; all of them if everything is text
qint64 convert(const QByteArray &bytes, const Source &source, std::u16string &text)
{
    iconv_t converter = iconv_open(ownUtf16, source.encoding);
    if (converter == iconv_t(-1))
        return 0;
    std::vector<char> in(bytes.begin() + source.begin, bytes.end());
    text.resize(in.size() * 2 + 2);
    char *from = in.data();
    char *to = reinterpret_cast<char *>(text.data());
    std::size_t left = in.size();
    std::size_t room = text.size() * sizeof(char16_t);
    iconv(converter, &from, &left, &to, &room);
    iconv_close(converter);
    text.resize(text.size() - (room + 1) / sizeof(char16_t));
    return qint64(in.size() - left);
}

int lineAt(const QString &text, qint64 end)
{
    return 1 + int(std::count(text.begin(), text.begin() + end, QLatin1Char('\n')));
}

QString withPlainLineEnds(const std::u16string &decoded)
{
    QString text = QString::fromStdU16String(decoded);
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

bool isControl(QChar c)
{
    return (c.unicode() < firstPrintable && c != '\n' && c != '\t') || c.unicode() == deleteCharacter;
}

} // namespace

std::optional<QString> decodeText(const QByteArray &bytes, FileEncoding encoding, int &line, QString &problem)
{
    const Source source = sourceOf(bytes, encoding);
    std::u16string decoded;
    const qint64 taken = convert(bytes, source, decoded);
    const QString text = withPlainLineEnds(decoded);
    if (taken < bytes.size() - source.begin) {
        line = lineAt(text, text.size());
        problem =
            QStringLiteral("byte %1 is not text in %2: save the file as UTF-8, or name its encoding with "
                           "--encoding windows-1252, latin-1, shift-jis or utf-16")
                .arg(uchar(bytes[int(source.begin + taken)]), 2, 16, QLatin1Char('0'))
                .arg(QString::fromLatin1(source.encoding));
        return std::nullopt;
    }
    const auto *const control = std::find_if(text.begin(), text.end(), isControl);
    if (control != text.end()) {
        line = lineAt(text, control - text.begin());
        problem =
            QStringLiteral("a control character (code %1) stands in the text: is this a table saved as CSV, "
                           "or UTF-16 without its mark (--encoding utf-16)?")
                .arg(control->unicode());
        return std::nullopt;
    }
    return text;
}

} // namespace kvtags
