// Answers from the line: however the bytes are cut, answer and surplus are the same, and nothing is lost.
#include "answer_splitter.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const int length = input.ConsumeIntegralInRange(-1, 64);
    const int cut = input.ConsumeIntegralInRange(1, 8);
    const QByteArray bytes = QByteArray::fromStdString(input.ConsumeRemainingBytesAsString());

    kvhost::AnswerSplitter whole(length);
    whole.feed(bytes);
    kvhost::AnswerSplitter pieces(length);
    for (int at = 0; at < bytes.size(); at += cut)
        pieces.feed(bytes.mid(at, cut));

    if (whole.complete() != pieces.complete() || whole.answer() != pieces.answer() ||
        whole.surplus() != pieces.surplus())
        std::abort();
    if (whole.answer() + whole.surplus() != bytes)
        std::abort();
    return 0;
}
