// SPDX-License-Identifier: MIT
// The C face: writes, pulses and push buttons.
#include "api/c_face.h"

using kvlink::duration;
using kvlink::failed;
using kvlink::Handed;
using End = kvlink::PlcWrites::End;

KV_SAME(KVLINK_DONE, Outcome::Done);
KV_SAME(KVLINK_REFUSED, Outcome::Refused);
KV_SAME(KVLINK_NOT_SENT, Outcome::NotSent);
KV_SAME(KVLINK_UNKNOWN, Outcome::Unknown);

namespace
{
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
        return plc->core.writes().write(kvlink::Tag(tag), value, how.options, how.end);
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
} // namespace

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
        return plc->core.writes().writeText(kvlink::Tag(tag), QString::fromUtf8(typed), how.options, how.end);
    });
}

int64_t kvlink_pulse(kvlink_plc *plc, kvlink_tag relay, double length, uint32_t flags)
{
    const auto time = duration(length);
    if (plc == nullptr || !time)
        return kvlink::notUsable();
    const End end = (flags & KVLINK_WRITE_AWAITED) != 0 ? End::Awaited : End::AsEvent;
    return int64_t(plc->core.writes().pulse(kvlink::Tag(relay), *time, end));
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
    const std::optional<kvlink::WriteResult> result = plc->core.writes().waitForWrite(write, *time);
    if (!result)
        return failed(KVLINK_ETIMEOUT, QStringLiteral("write %1 has not ended yet").arg(id));
    handed.clear();
    *out = recordOf(*result, handed);
    return KVLINK_OK;
}

int kvlink_cancel(kvlink_plc *plc, int64_t id)
{
    return plc == nullptr ? kvlink::notUsable() : int(plc->core.writes().cancel(kvlink::WriteId(id)));
}

int kvlink_cancel_all(kvlink_plc *plc)
{
    return plc == nullptr ? kvlink::notUsable() : plc->core.writes().cancelAll();
}

int64_t kvlink_press(kvlink_plc *plc, kvlink_tag relay)
{
    QString problem;
    if (const int error = kvlink::checkTags(plc, &relay, 1); error < 0)
        return error;
    if (!plc->core.writes().isButton(kvlink::Tag(relay), problem))
        return failed(KVLINK_EINVAL, problem);
    const kvlink::WriteId id = plc->core.newId();
    plc->core.writes().press(id, kvlink::Tag(relay));
    return int64_t(id);
}

int kvlink_renew(kvlink_plc *plc, int64_t press)
{
    if (plc == nullptr)
        return kvlink::notUsable();
    plc->core.writes().renew(kvlink::WriteId(press));
    return KVLINK_OK;
}

int kvlink_release(kvlink_plc *plc, int64_t press)
{
    if (plc == nullptr)
        return kvlink::notUsable();
    plc->core.writes().release(kvlink::WriteId(press));
    return KVLINK_OK;
}

const char *kvlink_outcome_name(int outcome)
{
    return kvlink::nameOf(outcome, kvlink::Outcome::Unknown, &kvlink::outcomeName);
}
