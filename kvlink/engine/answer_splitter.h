// SPDX-License-Identifier: MIT
// Where an answer ends: at the length that was asked for, or at CR LF, whichever comes first.
//
// An error answer has 4 bytes whatever was asked, so waiting for the asked length alone would wait
// for the time-out. Bytes are fed as they come, in any pieces; the same bytes give the same answer
// however they are cut.
#pragma once

#include <QByteArray>

namespace kvlink
{

class AnswerSplitter
{
public:
    /// \param length bytes that the answer has; below 1: any number, the line end decides
    explicit AnswerSplitter(int length) : m_length(length) {}

    /// Takes more bytes. What comes after the end of the answer is kept apart, see surplus().
    void feed(const QByteArray &bytes);

    bool complete() const { return m_complete; }

    /// The answer so far; whole once complete().
    const QByteArray &answer() const { return m_answer; }

    /// Bytes that followed the answer: nobody asked for them.
    const QByteArray &surplus() const { return m_surplus; }

private:
    int endOfLine() const;
    int endOfAnswer() const;

    int m_length;
    bool m_complete = false;
    QByteArray m_answer;
    QByteArray m_surplus;
};

} // namespace kvlink
