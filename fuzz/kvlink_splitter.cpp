// SPDX-License-Identifier: MIT
// Answers from the line: however the bytes are cut, answer and surplus are the same, and
// nothing is lost.
#include "engine/answer_splitter.h"

#include "input.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const int length = input.between(-1, 64);
    const int cut = input.between(1, 8);
    const QByteArray bytes = QByteArray::fromStdString(input.rest());

    kvlink::AnswerSplitter whole(length);
    whole.feed(bytes);
    kvlink::AnswerSplitter pieces(length);
    for (int at = 0; at < bytes.size(); at += cut)
        pieces.feed(bytes.mid(at, cut));

    require(whole.complete() == pieces.complete() && whole.answer() == pieces.answer() &&
                whole.surplus() == pieces.surplus(),
            "cutting the bytes changes nothing");
    require(whole.answer() + whole.surplus() == bytes, "no byte is lost");
    require(length < 1 || whole.answer().size() <= length, "an answer is no longer than was asked");
    return 0;
}
