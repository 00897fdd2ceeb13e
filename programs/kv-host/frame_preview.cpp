#include "frame_preview.h"

namespace kvhost
{

namespace
{

// A good answer to a frame: zeros in the places of digits.
QByteArray madeUpAnswer(const Protocol &head)
{
    if (head.frame.startsWith("CR\r"))
        return "CC\r\n";
    if (!head.frame.startsWith("RDS "))
        return "OK\r\n";
    return QByteArray(qMax(head.replyLength - 2, 0), '0') + "\r\n";
}

} // namespace

std::vector<PreviewedFrame> previewFrames(Session *session, int requests)
{
    std::vector<PreviewedFrame> frames;
    int done = 0;
    int idle = 0;
    while (done < requests && idle < 2) {
        const auto *head = reinterpret_cast<const Protocol *>(session->calls().comCommunication());
        if (head == nullptr) {
            ++idle; // one idle call after five writes is the driver's habit, two mean that nothing waits
            continue;
        }
        idle = 0;
        const bool opening = head->frame.startsWith("CR\r");
        if (!opening)
            frames.push_back({head->frame.left(head->frameLength), head->replyLength, head->var});
        QByteArray answer = madeUpAnswer(*head);
        session->calls().dataCom(&answer, int(answer.size()));
        if (!opening && session->block()->framesDone >= session->block()->framesPerRequest)
            ++done;
    }
    return frames;
}

} // namespace kvhost
