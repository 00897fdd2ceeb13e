// SPDX-License-Identifier: MIT
// The C face: the link, versions and errors. The rest: c_tags.cpp, c_values.cpp, c_writes.cpp.
#include "api/c_face.h"

using kvlink::duration;
using kvlink::failed;
using kvlink::Handed;

KV_SAME(KVLINK_OPEN_CR, Open::Cr);
KV_SAME(KVLINK_OPEN_NONE, Open::None);
KV_SAME(KVLINK_LOW_FIRST, WordOrder::LowFirst);
KV_SAME(KVLINK_HIGH_FIRST, WordOrder::HighFirst);
KV_SAME(KVLINK_UTF8, TextEncoding::Utf8);
KV_SAME(KVLINK_SHIFT_JIS, TextEncoding::ShiftJis);
KV_SAME(KVLINK_LATIN1, TextEncoding::Latin1);
KV_SAME(KVLINK_STOPPED, LinkState::Stopped);
KV_SAME(KVLINK_RESOLVING, LinkState::Resolving);
KV_SAME(KVLINK_CONNECTING, LinkState::Connecting);
KV_SAME(KVLINK_GREETING, LinkState::Greeting);
KV_SAME(KVLINK_READY, LinkState::Ready);
KV_SAME(KVLINK_WAITING, LinkState::Waiting);

namespace
{
struct ErrorRow {
    kvlink_error error;
    const char *text;
};

// clang-format off
constexpr ErrorRow errorTexts[] = {
    { KVLINK_OK,       "no error" },
    { KVLINK_EINVAL,   "an argument is not valid" },
    { KVLINK_EADDRESS, "the address is wrong" },
    { KVLINK_ELIMIT,   "the system is out of threads, memory or descriptors" },
    { KVLINK_EDRIVER,  "the driver library is missing or does not fit" },
    { KVLINK_ETIMEOUT, "it did not happen within the time given" },
    { KVLINK_ENOTAG,   "there is no such tag" },
    { KVLINK_EVERSION, "the loaded kvlink library is not the one that is needed" },
    { KVLINK_ESTOPPED, "the link is stopped" },
};
// clang-format on

thread_local QByteArray lastError;

kvlink_error errorOf(kvlink::PlcCore::Fault fault)
{
    switch (fault) {
    case kvlink::PlcCore::Fault::Address:
        return KVLINK_EADDRESS;
    case kvlink::PlcCore::Fault::Driver:
        return KVLINK_EDRIVER;
    case kvlink::PlcCore::Fault::None:
    case kvlink::PlcCore::Fault::Settings:
        break;
    }
    return KVLINK_EINVAL;
}

// An enumerator, if the number is one; its first is 0.
template <class Enum>
bool take(int32_t number, Enum last, Enum &to)
{
    to = Enum(number);
    return number >= 0 && number <= int(last);
}

// \return false for numbers that are none
bool translate(const kvlink_link_settings &from, kvlink::LinkSettings &to)
{
    const auto timeout = duration(from.timeout);
    const auto gap = duration(from.gap);
    if (!timeout || !gap)
        return false;
    to.timeout = *timeout;
    to.gap = *gap;
    to.maxBlock = from.max_block;
    to.driver = QString::fromUtf8(from.driver);
    return take(from.open, kvlink::Open::None, to.open) &&
           take(from.word_order, kvlink::WordOrder::HighFirst, to.wordOrder) &&
           take(from.text_encoding, kvlink::TextEncoding::Latin1, to.textEncoding);
}
} // namespace

namespace kvlink
{
int failed(kvlink_error error, const QString &text)
{
    lastError = text.toUtf8();
    return error;
}

int notUsable()
{
    return failed(KVLINK_EINVAL,
                  QStringLiteral("an argument is NULL, or a time is negative or not a number"));
}

int checkVersion(uint32_t version)
{
    if (version == 1)
        return KVLINK_OK;
    return failed(
        KVLINK_EINVAL,
        QStringLiteral("a record says version %1; this library knows 1: start from its _INIT").arg(version));
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

// --- version and errors --------------------------------------------------------------------------

const char *kvlink_version(void)
{
    static const QByteArray text = kvlink::version().toUtf8();
    return text.constData();
}

int kvlink_require(int major, int minor)
{
    const bool serves = major == KVLINK_VERSION_MAJOR &&
                        // cppcheck-suppress knownConditionTrueFalse ; so it is until version 1
                        (major == 0 ? minor == KVLINK_VERSION_MINOR : minor <= KVLINK_VERSION_MINOR);
    if (serves)
        return KVLINK_OK;
    return failed(KVLINK_EVERSION, QStringLiteral("version %1.%2 of kvlink is needed; %3 was loaded")
                                       .arg(major)
                                       .arg(minor)
                                       .arg(kvlink::version()));
}

const char *kvlink_last_error(void)
{
    return lastError.constData();
}

const char *kvlink_strerror(int error)
{
    for (const ErrorRow &row : errorTexts) {
        if (row.error == error)
            return row.text;
    }
    return "an unknown error";
}

// --- a PLC ---------------------------------------------------------------------------------------

int kvlink_link_settings_init(kvlink_link_settings *settings, uint32_t version)
{
    return kvlink::initialise(settings, version, KVLINK_LINK_SETTINGS_INIT);
}

int kvlink_plc_new(kvlink_plc **out, const char *url, const kvlink_link_settings *settings)
{
    if (out == nullptr || url == nullptr)
        return kvlink::notUsable();
    const kvlink_link_settings usual KVLINK_LINK_SETTINGS_INIT;
    const kvlink_link_settings &given = settings == nullptr ? usual : *settings;
    if (const int error = kvlink::checkVersion(given.version); error < 0)
        return error;
    kvlink::LinkSettings link;
    link.url = QString::fromUtf8(url);
    if (!translate(given, link))
        return failed(KVLINK_EINVAL, QStringLiteral("a number in the link's settings is out of its range"));
    auto plc = std::make_unique<kvlink_plc>(link);
    if (plc->core.fault() != kvlink::PlcCore::Fault::None)
        return failed(errorOf(plc->core.fault()), plc->core.problem());
    *out = plc.release();
    return KVLINK_OK;
}

void kvlink_plc_free(kvlink_plc *plc)
{
    delete plc;
}

int kvlink_plc_start(kvlink_plc *plc)
{
    if (plc == nullptr)
        return kvlink::notUsable();
    return plc->core.start() ? int(KVLINK_OK) : failed(KVLINK_ELIMIT, plc->core.problem());
}

int kvlink_plc_stop(kvlink_plc *plc)
{
    if (plc == nullptr)
        return kvlink::notUsable();
    plc->core.stop();
    return KVLINK_OK;
}

int kvlink_link(kvlink_link_status *out, kvlink_plc *plc)
{
    thread_local Handed handed;
    if (out == nullptr || plc == nullptr)
        return kvlink::notUsable();
    handed.clear();
    *out = recordOf(plc->core.mailbox().link(), handed);
    return KVLINK_OK;
}

int kvlink_link_wait(kvlink_plc *plc, double longest)
{
    const auto time = duration(longest);
    if (plc == nullptr || !time)
        return kvlink::notUsable();
    if (plc->core.mailbox().waitForLink(*time))
        return KVLINK_OK;
    return kvlink::failedWithoutLink(plc->core);
}

const char *kvlink_link_state_name(int state)
{
    return kvlink::nameOf(state, kvlink::LinkState::Waiting, &kvlink::linkStateName);
}

int kvlink_statistics_init(kvlink_statistics *statistics, uint32_t version)
{
    return kvlink::initialise(statistics, version, KVLINK_STATISTICS_INIT);
}

int kvlink_statistics_of(kvlink_statistics *out, kvlink_plc *plc)
{
    if (out == nullptr || plc == nullptr)
        return kvlink::notUsable();
    if (const int error = kvlink::checkVersion(out->version); error < 0)
        return error;
    *out = kvlink::recordOf(plc->core.statistics());
    return KVLINK_OK;
}

int kvlink_query_wait(const char **answer, kvlink_plc *plc, const char *command, double longest)
{
    thread_local Handed handed;
    const auto time = duration(longest);
    if (answer == nullptr || plc == nullptr || command == nullptr || !time)
        return kvlink::notUsable();
    const QString question = QString::fromUtf8(command);
    if (!kvlink::PlcCore::isQuestion(question))
        return failed(KVLINK_EINVAL, kvlink::PlcCore::noQuestion(question));
    const kvlink::QueryResult result = plc->core.queryAndWait(question, *time);
    if (!result.answered && plc->core.mailbox().link().state == kvlink::LinkState::Stopped)
        return kvlink::failedWithoutLink(plc->core);
    if (!result.answered)
        return failed(KVLINK_ETIMEOUT, result.problem);
    handed.clear();
    *answer = handed.text(result.answer);
    return KVLINK_OK;
}
