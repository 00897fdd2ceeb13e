// SPDX-License-Identifier: MIT
// Does an answer have the shape that its request calls for?
//
// The driver checks length and error letters; digits that a disturbed line has changed it takes as
// 0, and any four bytes as the acknowledgement of a write. kvlink must never show a wrong value, so
// it looks closer before it hands an answer in.
#pragma once

#include "model/units.h"

#include <QByteArray>

namespace kvlink
{

/// The kinds of answer that a PLC gives.
enum class AnswerShape : quint8 {
    Greeting,        ///< "CC"
    Acknowledgement, ///< "OK"
    Words,           ///< five digits each
    DoubleWords,     ///< ten digits each
    Triples,         ///< a contact and twice ten digits each
    Line,            ///< whatever ends in CR LF: the model, the mode, the error number
};

enum class AnswerKind : quint8 { Good, Error, Malformed };

struct AnswerVerdict {
    AnswerKind kind = AnswerKind::Malformed;
    quint8 plcError = 0; ///< with Error: 0 for "E0"
};

/// The shape that \a frame calls for: "CR", "WRS ...", "RDS Z1.D 2", ...
AnswerShape shapeFor(const QByteArray &frame);

/// \param length bytes that the answer must have, line end included; below 1: any number
AnswerVerdict checkAnswer(AnswerShape shape, int length, const QByteArray &answer);

/// The driver's store holds 0 for numbers above 2147483647: they are taken from the answer itself.
/// \a answer is good.
void takeLargeNumbers(UnitBlock &block, AnswerShape shape, const QByteArray &answer);

/// True if \a surplus is \a answer once or more often, the last time perhaps not whole yet.
bool isCopies(const QByteArray &surplus, const QByteArray &answer);

} // namespace kvlink
