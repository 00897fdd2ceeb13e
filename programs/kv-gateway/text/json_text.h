// SPDX-License-Identifier: MIT
// JSON, piece by piece, for messages with thousands of samples.
#pragma once

#include <kvlink/sample.h>

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <optional>

namespace kvgateway
{

/// Appends a text in quotes: "a \"b\"".
void appendJson(QByteArray &out, const QString &text);

/// Appends a value: null, true, 5, 1.5, "text", [1,2]. NaN is null: JSON does not know it.
void appendJson(QByteArray &out, const kvlink::Value &value);

/// Appends value, quality, reason (of a bad one) and time (of one that was read), without braces:
/// "value":5,"quality":"good","time":"2026-05-04T08:15:02.113Z"
void appendSample(QByteArray &out, const kvlink::Sample &sample);

/// A value as one of Qt's.
QJsonValue jsonValue(const kvlink::Value &value);

/// One value of a list. Whole numbers up to 2^53 stay whole, however they are written: 1.0 is 1.
/// \return none: null, an object, a list, a text with half a character
std::optional<kvlink::Scalar> scalarFromJson(const QJsonValue &json);

/// The value that somebody sent. Whole numbers up to 2^53 stay whole; a list holds no lists.
/// \param problem what cannot be a value: null, an object, a list in a list, half a character; set
/// on failure only
std::optional<kvlink::Value> valueFromJson(const QJsonValue &json, QString &problem);

} // namespace kvgateway
