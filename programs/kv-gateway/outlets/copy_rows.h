// SPDX-License-Identifier: MIT
// Rows in the binary form that PostgreSQL's COPY takes: nothing in it needs quoting, and no digit
// of a number is lost.
#pragma once

#include "outlet.h"

namespace kvgateway
{

/// Begins with the header; finish() gives the bytes with the trailer.
class CopyRows
{
public:
    /// Columns of a row: int4, timestamptz, int8, an enumeration, text, float8, text, jsonb.
    static constexpr char columns[] = "tag, time, seq, quality, reason, value, text, list";

    CopyRows();
    /// What is not good has no value: an average over the rows then counts what was read, and
    /// nothing else. PostgreSQL knows no character 0; it becomes U+FFFD.
    /// \param tag its number in the database
    void add(qint32 tag, const OutletRow &row);
    QByteArray finish() &&;

private:
    void field(const QByteArray &bytes);
    void nothing();
    void value(const kvlink::Value &value);

    QByteArray m_bytes;
};

} // namespace kvgateway
