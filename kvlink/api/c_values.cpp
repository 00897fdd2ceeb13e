// SPDX-License-Identifier: MIT
// The C face: values and events.
#include "api/c_face.h"

using kvlink::duration;
using kvlink::failed;
using kvlink::Handed;

KV_SAME(KVLINK_NEVER, Quality::Never);
KV_SAME(KVLINK_GOOD, Quality::Good);
KV_SAME(KVLINK_STALE, Quality::Stale);
KV_SAME(KVLINK_BAD, Quality::Bad);
KV_SAME(KVLINK_PENDING, Quality::Pending);
KV_SAME(KVLINK_REASON_NONE, Reason::None);
KV_SAME(KVLINK_REASON_NO_LINK, Reason::NoLink);
KV_SAME(KVLINK_REASON_NO_ANSWER, Reason::NoAnswer);
KV_SAME(KVLINK_REASON_CORRUPTED, Reason::Corrupted);
KV_SAME(KVLINK_REASON_PLC_ERROR, Reason::PlcError);
KV_SAME(KVLINK_REASON_OUT_OF_RANGE, Reason::OutOfRange);
KV_SAME(KVLINK_REASON_NOT_REPRESENTABLE, Reason::NotRepresentable);
KV_SAME(KVLINK_REASON_OFFLINE, Reason::Offline);
KV_SAME(KVLINK_REASON_EXPIRED, Reason::Expired);
KV_SAME(KVLINK_REASON_CANCELLED, Reason::Cancelled);
KV_SAME(KVLINK_REASON_REPLACED, Reason::Replaced);
KV_SAME(KVLINK_REASON_NOT_PERMITTED, Reason::NotPermitted);
KV_SAME(KVLINK_REASON_INVALID_VALUE, Reason::InvalidValue);
KV_SAME(KVLINK_REASON_LINK_LOST, Reason::LinkLost);
KV_SAME(KVLINK_REASON_PARTLY_DONE, Reason::PartlyDone);
KV_SAME(KVLINK_REASON_STOPPED, Reason::Stopped);
KV_SAME(KVLINK_REASON_QUEUE_FULL, Reason::QueueFull);

namespace
{
std::vector<kvlink::Tag> tagsOf(const kvlink_tag *tags, size_t count)
{
    std::vector<kvlink::Tag> all;
    for (size_t i = 0; i < count; ++i)
        all.emplace_back(tags[i]);
    return all;
}

// False for events that the C face does not have.
bool fill(kvlink_event &out, const kvlink::Event &event, Handed &handed)
{
    out = kvlink_event{};
    if (const auto *change = std::get_if<kvlink::Events::Change>(&event)) {
        out.type = KVLINK_EVENT_SAMPLE;
        out.tag = change->tag.id();
        out.sample = recordOf(change->sample, handed);
    } else if (const auto *result = std::get_if<kvlink::WriteResult>(&event)) {
        out.type = KVLINK_EVENT_WRITE;
        out.tag = result->tag.id();
        out.id = int64_t(result->id);
        out.write = recordOf(*result, handed);
    } else if (const auto *status = std::get_if<kvlink::LinkStatus>(&event)) {
        out.type = KVLINK_EVENT_LINK;
        out.link = recordOf(*status, handed);
    } else if (const auto *read = std::get_if<kvlink::ReadDone>(&event)) {
        out.type = KVLINK_EVENT_READ;
        out.id = int64_t(read->id);
    }
    return out.type != 0;
}
} // namespace

// --- values --------------------------------------------------------------------------------------

int kvlink_sample_of(kvlink_sample *out, kvlink_plc *plc, kvlink_tag tag)
{
    thread_local Handed handed;
    if (out == nullptr)
        return kvlink::notUsable();
    if (const int error = kvlink::checkTags(plc, &tag, 1); error < 0)
        return error;
    handed.clear();
    *out = recordOf(plc->core.sample(kvlink::Tag(tag)), handed);
    return KVLINK_OK;
}

int64_t kvlink_read_now(kvlink_plc *plc, const kvlink_tag *tags, size_t count)
{
    if (const int error = kvlink::checkTags(plc, tags, count); error < 0)
        return error;
    return int64_t(plc->core.readNow(tagsOf(tags, count)));
}

int kvlink_read_wait(kvlink_plc *plc, const kvlink_tag *tags, size_t count, double longest)
{
    const auto time = duration(longest);
    if (!time)
        return kvlink::notUsable();
    if (const int error = kvlink::checkTags(plc, tags, count); error < 0)
        return error;
    return plc->core.read(tagsOf(tags, count), *time) ? int(KVLINK_OK) : kvlink::failedWithoutLink(plc->core);
}

const char *kvlink_quality_name(int quality)
{
    return kvlink::nameOf(quality, kvlink::Quality::Pending, &kvlink::qualityName);
}

const char *kvlink_reason_text(int reason)
{
    return kvlink::nameOf(reason, kvlink::Reason::QueueFull, &kvlink::reasonText);
}

// --- events --------------------------------------------------------------------------------------

int kvlink_poll(int *fd, kvlink_plc *plc)
{
    if (fd == nullptr || plc == nullptr)
        return kvlink::notUsable();
    const int descriptor = plc->core.mailbox().descriptor();
    if (descriptor < 0)
        return failed(KVLINK_ELIMIT, QStringLiteral("the system gave no descriptor"));
    *fd = descriptor;
    return KVLINK_OK;
}

int kvlink_next(kvlink_event *out, kvlink_plc *plc)
{
    thread_local Handed handed;
    if (out == nullptr || plc == nullptr)
        return kvlink::notUsable();
    handed.clear();
    while (const std::optional<kvlink::Event> event = plc->core.take()) {
        if (fill(*out, *event, handed))
            return 1;
    }
    return 0;
}

int kvlink_wait(kvlink_plc *plc, double longest)
{
    const auto time = duration(longest);
    if (plc == nullptr || !time)
        return kvlink::notUsable();
    return plc->core.mailbox().wait(*time) ? 1 : 0;
}
