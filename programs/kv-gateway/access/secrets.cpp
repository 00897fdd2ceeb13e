// SPDX-License-Identifier: MIT
#include "secrets.h"

#include <sodium.h>

namespace kvgateway
{

namespace
{

constexpr int bytesOfId = 32;

QByteArray keyedHash(const QByteArray &text, const QByteArray &key)
{
    QByteArray hash(bytesOfId, '\0');
    ::crypto_generichash(reinterpret_cast<unsigned char *>(hash.data()), std::size_t(hash.size()),
                         reinterpret_cast<const unsigned char *>(text.constData()), std::size_t(text.size()),
                         reinterpret_cast<const unsigned char *>(key.constData()), std::size_t(key.size()));
    return hash;
}

QString textOf(const QByteArray &bytes)
{
    return QString::fromLatin1(
        bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

} // namespace

QString randomId()
{
    QByteArray bytes(bytesOfId, '\0');
    ::randombytes_buf(bytes.data(), std::size_t(bytes.size()));
    return textOf(bytes);
}

QByteArray hashOf(const QString &id)
{
    return keyedHash(id.toUtf8(), {});
}

bool isSame(const QByteArray &one, const QByteArray &other)
{
    return one.size() == other.size() &&
           ::sodium_memcmp(one.constData(), other.constData(), std::size_t(one.size())) == 0;
}

QString derivedFrom(const QString &id, const char *purpose)
{
    // The hash of the id is the key: an id of any length makes one of the right length.
    return textOf(keyedHash(QByteArray(purpose), hashOf(id)));
}

} // namespace kvgateway
