// Does an answer look like the answer to this request?
//
// The driver checks length and error letters; digits that a disturbed line has changed it takes as 0, and any
// four bytes as the acknowledgement of a write. A host that must never show a wrong value looks closer before
// it hands an answer in; what fails here is handed in as no answer at all, so the driver sends again.
#pragma once

#include <QByteArray>
#include <QVector>

namespace kvhost
{

enum class AnswerKind {
    Good,      ///< as expected
    Error,     ///< the PLC's error answer: two characters and CR LF
    Malformed, ///< neither: to be handed in as no answer
};

struct AnswerVerdict {
    AnswerKind kind = AnswerKind::Malformed;
    QByteArray errorCode;  ///< "E0" and so on, with Error
    QVector<int> tooLarge; ///< elements above 2147483647, which the driver stores as 0
};

/// \param frame       what was sent; its first word tells the kind of answer
/// \param replyLength what the driver expects, line end included
AnswerVerdict checkAnswer(const QByteArray &frame, int replyLength, const QByteArray &answer);

/// True for what a PLC would say to some request: values of any one kind, or an acknowledgement. Of another
/// length than asked for, such an answer may be that to an earlier request; one that fits nothing was
/// disturbed.
bool looksLikeAnAnswer(const QByteArray &answer);

/// What the PLC's error codes mean, as far as it is known. Example: "E0" -> "device number".
const char *errorCodeMeaning(const QByteArray &code);

} // namespace kvhost
