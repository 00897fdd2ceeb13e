// SPDX-License-Identifier: MIT
// The C face: values, writes and events.
#include "api/c_face.h"

using kvlink::duration;
using kvlink::failed;
using kvlink::Handed;
using End = kvlink::PlcCore::End;

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): it takes names, which no function can
#define KV_SAME(c, cpp) static_assert(int(c) == int(kvlink::cpp))
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
KV_SAME(KVLINK_DONE, Outcome::Done);
KV_SAME(KVLINK_REFUSED, Outcome::Refused);
KV_SAME(KVLINK_NOT_SENT, Outcome::NotSent);
KV_SAME(KVLINK_UNKNOWN, Outcome::Unknown);

namespace
{
std::vector<kvlink::Tag> tagsOf(const kvlink_tag *tags, size_t count)
{
    std::vector<kvlink::Tag> all;
    for (size_t i = 0; i < count; ++i)
        all.emplace_back(tags[i]);
    return all;
}

// KVLINK_OK if all of them exist.
int checkTags(kvlink_plc *plc, const kvlink_tag *tags, size_t count)
{
    if (plc == nullptr || (tags == nullptr && count > 0))
        return kvlink::notUsable();
    for (size_t i = 0; i < count; ++i) {
        if (!plc->core.mailbox().hasTag(kvlink::Tag(tags[i])))
            return kvlink::noSuchTag(tags[i]);
    }
    return KVLINK_OK;
}

// Options of the C++ face, and who gets the end. An expiry that is no time is refused by the core,
// as an end of the write.
struct Options {
    kvlink::WriteOptions options;
    End end = End::AsEvent;
};

Options translate(const kvlink_write_options &from)
{
    Options to;
    to.options.coalesce = (from.flags & KVLINK_WRITE_COALESCE) != 0;
    if ((from.flags & KVLINK_WRITE_WAIT_LINK) != 0)
        to.options.whenOffline = kvlink::WhenOffline::Wait;
    to.options.expires = duration(from.expires).value_or(kvlink::Duration(0));
    to.options.attempts = from.attempts;
    if ((from.flags & KVLINK_WRITE_AWAITED) != 0)
        to.end = End::Awaited;
    return to;
}

// Hands out a write by \a hand, which gets the options.
template <class Hand>
int64_t handOut(const kvlink_plc *plc, const kvlink_write_options *options, Hand hand)
{
    const kvlink_write_options usual KVLINK_WRITE_OPTIONS_INIT;
    const kvlink_write_options &given = options == nullptr ? usual : *options;
    if (plc == nullptr)
        return kvlink::notUsable();
    if (const int error = kvlink::checkVersion(given.version); error < 0)
        return error;
    return int64_t(hand(translate(given)));
}

int64_t write(kvlink_plc *plc, kvlink_tag tag, const kvlink::Value &value,
              const kvlink_write_options *options)
{
    return handOut(plc, options, [&](const Options &how) {
        return plc->core.write(kvlink::Tag(tag), value, how.options, how.end);
    });
}

template <class Scalar, class Number>
int64_t writeList(kvlink_plc *plc, kvlink_tag tag, const Number *values, size_t count,
                  const kvlink_write_options *options)
{
    if (values == nullptr)
        return kvlink::notUsable();
    std::vector<kvlink::Scalar> list;
    for (size_t i = 0; i < count; ++i)
        list.emplace_back(Scalar(values[i]));
    return write(plc, tag, list, options);
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

namespace kvlink
{
int noSuchTag(kvlink_tag tag)
{
    return failed(KVLINK_ENOTAG, QStringLiteral("there is no tag %1, or no longer").arg(tag));
}

int failedWithoutLink(PlcCore &core)
{
    const LinkStatus status = core.mailbox().link();
    if (status.state == LinkState::Stopped)
        return failed(KVLINK_ESTOPPED, QStringLiteral("the link is stopped; kvlink_plc_start() starts it"));
    return failed(KVLINK_ETIMEOUT, status.problem.isEmpty()
                                       ? QStringLiteral("no answer within the time given")
                                       : status.problem);
}
} // namespace kvlink

// --- values --------------------------------------------------------------------------------------

int kvlink_sample_of(kvlink_sample *out, kvlink_plc *plc, kvlink_tag tag)
{
    thread_local Handed handed;
    if (out == nullptr)
        return kvlink::notUsable();
    if (const int error = checkTags(plc, &tag, 1); error < 0)
        return error;
    handed.clear();
    *out = recordOf(plc->core.sample(kvlink::Tag(tag)), handed);
    return KVLINK_OK;
}

int64_t kvlink_read_now(kvlink_plc *plc, const kvlink_tag *tags, size_t count)
{
    if (const int error = checkTags(plc, tags, count); error < 0)
        return error;
    return int64_t(plc->core.readNow(tagsOf(tags, count)));
}

int kvlink_read_wait(kvlink_plc *plc, const kvlink_tag *tags, size_t count, double longest)
{
    const auto time = duration(longest);
    if (!time)
        return kvlink::notUsable();
    if (const int error = checkTags(plc, tags, count); error < 0)
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

// --- writes --------------------------------------------------------------------------------------

int kvlink_write_options_init(kvlink_write_options *options, uint32_t version)
{
    if (options == nullptr)
        return kvlink::notUsable();
    if (const int error = kvlink::checkVersion(version); error < 0)
        return error;
    *options = KVLINK_WRITE_OPTIONS_INIT;
    return KVLINK_OK;
}

int64_t kvlink_write_bool(kvlink_plc *plc, kvlink_tag tag, int on, const kvlink_write_options *options)
{
    return write(plc, tag, on != 0, options);
}

int64_t kvlink_write_int(kvlink_plc *plc, kvlink_tag tag, int64_t value, const kvlink_write_options *options)
{
    return write(plc, tag, qint64(value), options);
}

int64_t kvlink_write_real(kvlink_plc *plc, kvlink_tag tag, double value, const kvlink_write_options *options)
{
    return write(plc, tag, value, options);
}

int64_t kvlink_write_text(kvlink_plc *plc, kvlink_tag tag, const char *text,
                          const kvlink_write_options *options)
{
    return text == nullptr ? kvlink::notUsable() : write(plc, tag, QString::fromUtf8(text), options);
}

int64_t kvlink_write_ints(kvlink_plc *plc, kvlink_tag tag, const int64_t *values, size_t count,
                          const kvlink_write_options *options)
{
    return writeList<qint64>(plc, tag, values, count, options);
}

int64_t kvlink_write_reals(kvlink_plc *plc, kvlink_tag tag, const double *values, size_t count,
                           const kvlink_write_options *options)
{
    return writeList<double>(plc, tag, values, count, options);
}

int64_t kvlink_write_typed(kvlink_plc *plc, kvlink_tag tag, const char *typed,
                           const kvlink_write_options *options)
{
    if (typed == nullptr)
        return kvlink::notUsable();
    return handOut(plc, options, [&](const Options &how) {
        return plc->core.writeText(kvlink::Tag(tag), QString::fromUtf8(typed), how.options, how.end);
    });
}

int64_t kvlink_pulse(kvlink_plc *plc, kvlink_tag relay, double length, uint32_t flags)
{
    const auto time = duration(length);
    if (plc == nullptr || !time)
        return kvlink::notUsable();
    const End end = (flags & KVLINK_WRITE_AWAITED) != 0 ? End::Awaited : End::AsEvent;
    return int64_t(plc->core.pulse(kvlink::Tag(relay), *time, end));
}

int kvlink_write_wait(kvlink_write_result *out, kvlink_plc *plc, int64_t id, double longest)
{
    thread_local Handed handed;
    const auto time = duration(longest);
    if (out == nullptr || plc == nullptr || !time)
        return kvlink::notUsable();
    const auto write = kvlink::WriteId(id);
    if (!plc->core.mailbox().isExpected(write))
        return failed(KVLINK_EINVAL, QStringLiteral("no write %1 is awaited").arg(id));
    const std::optional<kvlink::WriteResult> result = plc->core.waitForWrite(write, *time);
    if (!result)
        return failed(KVLINK_ETIMEOUT, QStringLiteral("write %1 has not ended yet").arg(id));
    handed.clear();
    *out = recordOf(*result, handed);
    return KVLINK_OK;
}

int kvlink_cancel(kvlink_plc *plc, int64_t id)
{
    return plc == nullptr ? kvlink::notUsable() : int(plc->core.cancel(kvlink::WriteId(id)));
}

int kvlink_cancel_all(kvlink_plc *plc)
{
    return plc == nullptr ? kvlink::notUsable() : plc->core.cancelAll();
}

int64_t kvlink_press(kvlink_plc *plc, kvlink_tag relay)
{
    QString problem;
    if (const int error = checkTags(plc, &relay, 1); error < 0)
        return error;
    if (!plc->core.isButton(kvlink::Tag(relay), problem))
        return failed(KVLINK_EINVAL, problem);
    const kvlink::WriteId id = plc->core.newId();
    plc->core.press(id, kvlink::Tag(relay));
    return int64_t(id);
}

int kvlink_renew(kvlink_plc *plc, int64_t press)
{
    if (plc == nullptr)
        return kvlink::notUsable();
    plc->core.renew(kvlink::WriteId(press));
    return KVLINK_OK;
}

int kvlink_release(kvlink_plc *plc, int64_t press)
{
    if (plc == nullptr)
        return kvlink::notUsable();
    plc->core.release(kvlink::WriteId(press));
    return KVLINK_OK;
}

const char *kvlink_outcome_name(int outcome)
{
    return kvlink::nameOf(outcome, kvlink::Outcome::Unknown, &kvlink::outcomeName);
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
