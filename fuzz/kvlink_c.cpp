// SPDX-License-Identifier: MIT
// Calls of the C face in any order, with NULLs, unknown tags and ids, records of other versions,
// numbers that are none, and long texts. No PLC is there: links that are started have a serial line
// that does not exist.
//
// After each call what kvlink.h promises must hold; and in the end every write and every read has
// had its one end, and no write says that anything was sent.
#include "input.h"
#include "require.h"

#include <kvlink/kvlink.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <vector>

#include <poll.h>

namespace
{

constexpr int mostSteps = 150;

const char *const noLines[] = {"serial:///no/such/line", "serial:///dev/null",
                               "serial:///no/such/line?baud=115200"};
const char *const urls[] = {
    "tcp://192.168.0.10", "udp://plc1:8501", "tcp://[::1]:8501", "tcp://192.168.1", "", "x"};
const char *const addresses[] = {"DM0",   "DM100.D", "DM100.5", "DM0:20",    "DM0.F:4", "DM10.STR:8",
                                 "R500",  "MR100:8", "T3",      "TC3:3",     "Z5",      "DM200.S",
                                 "W1A.3", "CR2002",  "DM",      "DM65535.D", "DM0.5:3"};
const char *const typed[] = {"5", "on", "0x1F", "1.5", "1,2,3", "-1", "abc", "", "\xC3\xA9", "\xFF\xFE"};

// A record or number that a call has to leave alone, unless it succeeds.
template <class T>
struct Out {
    Out() { std::memset(static_cast<void *>(&value), mark, sizeof value); }
    bool isUntouched() const
    {
        const auto *bytes = reinterpret_cast<const unsigned char *>(&value);
        for (std::size_t i = 0; i < sizeof value; ++i) {
            if (bytes[i] != mark)
                return false;
        }
        return true;
    }

    static constexpr unsigned char mark = 0xA5;
    T value;
};

void requireText(const char *text)
{
    require(text != nullptr, "a text is never NULL");
    require(std::strlen(text) < (1U << 20), "a text ends");
}

// Of each call: 0 or more is good, below 0 one of the errors, with a sentence.
template <class Result>
Result checked(Result result)
{
    if (result >= 0)
        return result;
    require(result >= KVLINK_ESTOPPED, "an error is one of kvlink_error");
    requireText(kvlink_last_error());
    require(*kvlink_last_error() != '\0', "an error has a sentence");
    require(std::strcmp(kvlink_strerror(int(result)), "an unknown error") != 0, "an error has a meaning");
    return result;
}

void requireSample(const kvlink_sample &sample)
{
    require(sample.quality >= KVLINK_NEVER && sample.quality <= KVLINK_PENDING, "a quality has a name");
    require(sample.quality != KVLINK_GOOD, "nothing is good that no PLC has said");
    require(sample.count == 0 && sample.values == nullptr, "there is no value before the first answer");
    requireText(sample.text);
    requireText(sample.problem);
    require(sample.quality != KVLINK_BAD || *sample.problem != '\0', "what is bad says why");
}

class Session
{
public:
    explicit Session(const Input &input) : m_in(input) {}
    ~Session() { endLink(); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    void run()
    {
        newLink();
        for (int step = 0; step < mostSteps && !m_in.empty(); ++step)
            act();
    }

private:
    void act()
    {
        constexpr void (Session::*acts[])() = {
            &Session::newLink,   &Session::startOrStop, &Session::addTag,     &Session::addTag,
            &Session::changeTag, &Session::sampleOf,    &Session::readNow,    &Session::readWait,
            &Session::writeOne,  &Session::writeOne,    &Session::writeMany,  &Session::pushButton,
            &Session::cancel,    &Session::writeWait,   &Session::takeEvents, &Session::poll,
            &Session::askLink,   &Session::askNames,    &Session::fillRecords};
        (this->*acts[m_in.below(int(std::size(acts)))])();
    }

    // --- what calls are made with ----------------------------------------------------------------

    // Now and then there is none.
    kvlink_plc *plc() { return m_in.below(32) == 31 ? nullptr : m_plc; }
    kvlink_tag tag()
    {
        const int which = m_in.byte();
        if (m_tags.empty() || which >= 240)
            return kvlink_tag(m_in.number());
        return m_tags[std::size_t(which) % m_tags.size()];
    }
    int64_t id()
    {
        const int which = m_in.byte();
        if (m_ids.empty() || which >= 240)
            return int64_t(m_in.number()) * (which % 2 == 0 ? 1 : 0x100000000);
        return m_ids[std::size_t(which) % m_ids.size()];
    }
    double number()
    {
        constexpr double numbers[] = {0.0,
                                      0.001,
                                      0.5,
                                      1.0,
                                      -1.0,
                                      60.0,
                                      1e5,
                                      1e9,
                                      1e19,
                                      1e300,
                                      std::numeric_limits<double>::quiet_NaN(),
                                      -1e-9,
                                      std::numeric_limits<double>::infinity()};
        const int which = m_in.byte();
        return which < int(std::size(numbers)) ? numbers[which] : which / 16.0;
    }
    // Nobody is there to be waited for.
    double wait()
    {
        constexpr double times[] = {0.0, 0.0, 0.001, -1.0, std::numeric_limits<double>::quiet_NaN()};
        return times[m_in.below(int(std::size(times)))];
    }
    uint32_t version() { return m_in.below(16) == 15 ? uint32_t(m_in.number()) : 1; }
    template <std::size_t n>
    std::string text(const char *const (&usual)[n])
    {
        const int which = m_in.byte();
        if (which < 200)
            return usual[std::size_t(which) % n];
        const std::string own = m_in.bytes(40);
        constexpr int longTimes = 3000;
        std::string all = own;
        for (int i = 0; which >= 250 && i < longTimes; ++i)
            all += own;
        return all;
    }
    const char *orNull(const std::string &text) { return m_in.below(32) == 31 ? nullptr : text.c_str(); }

    // --- the link --------------------------------------------------------------------------------

    void newLink()
    {
        endLink();
        const bool isRight = !m_in.flag();
        const std::string url = isRight ? noLines[m_in.below(int(std::size(noLines)))] : text(urls);
        kvlink_link_settings settings KVLINK_LINK_SETTINGS_INIT;
        settings.driver = KV_DRIVER_PATH;
        if (!isRight) {
            settings.version = version();
            settings.timeout = number();
            settings.gap = number();
            settings.open = m_in.between(-1, 2);
            settings.max_block = m_in.below(1100);
            settings.word_order = m_in.between(-1, 2);
            settings.text_encoding = m_in.between(-1, 3);
        } else {
            settings.text_encoding = m_in.below(3);
        }
        const char *given = isRight ? url.c_str() : orNull(url);
        Out<kvlink_plc *> made;
        const int result = checked(kvlink_plc_new(&made.value, given, &settings));
        require(result == KVLINK_OK || made.isUntouched(), "a link that failed is not handed out");
        require(result == KVLINK_OK || !isRight, "a link to a serial line can be made");
        require(kvlink_plc_new(nullptr, given, &settings) == KVLINK_EINVAL, "NULL is refused");
        m_plc = result == KVLINK_OK ? made.value : nullptr;
        m_mayStart = isRight;
    }

    // Every write and every read has had its end.
    void endLink()
    {
        if (m_plc != nullptr) {
            checked(kvlink_plc_stop(m_plc));
            takeAll();
            for (const int64_t id : m_awaited)
                takeAwaited(id);
            require(m_openWrites.empty(), "every write ends once");
            require(m_openReads.empty(), "every read ends once");
        }
        kvlink_plc_free(m_plc);
        m_plc = nullptr;
        m_tags.clear();
        m_live.clear();
        m_ids.clear();
        m_awaited.clear();
        m_lastId = 0;
        m_isStarted = false;
    }

    void startOrStop()
    {
        require(kvlink_plc_start(nullptr) == KVLINK_EINVAL && kvlink_plc_stop(nullptr) == KVLINK_EINVAL,
                "NULL is refused");
        if (m_plc == nullptr)
            return;
        m_isStarted = m_mayStart && m_in.flag();
        require(checked(m_isStarted ? kvlink_plc_start(m_plc) : kvlink_plc_stop(m_plc)) == KVLINK_OK,
                "a link starts and stops");
        kvlink_link_status status{};
        require(kvlink_link(&status, m_plc) == KVLINK_OK, "a link has a state");
        require(m_isStarted || status.state == KVLINK_STOPPED, "a stopped link is stopped");
        require(status.state != KVLINK_READY, "no link is ready without a line");
        requireText(status.problem);
    }

    void askLink()
    {
        Out<kvlink_link_status> status;
        require(checked(kvlink_link(&status.value, plc())) == KVLINK_OK || status.isUntouched(),
                "set on success only");
        require(checked(kvlink_link_wait(plc(), wait())) < 0, "no link is ready without a line");
        kvlink_statistics statistics KVLINK_STATISTICS_INIT;
        statistics.version = version();
        if (checked(kvlink_statistics_of(&statistics, plc())) == KVLINK_OK)
            require(statistics.requests == 0 && statistics.bytes_sent == 0, "nothing was sent");
        const std::string command = m_in.flag() ? "?K" : m_in.bytes(4);
        Out<const char *> answer;
        require(checked(kvlink_query_wait(&answer.value, plc(), orNull(command), wait())) < 0,
                "nobody answers");
        require(answer.isUntouched(), "set on success only");
    }

    // --- tags ------------------------------------------------------------------------------------

    void addTag()
    {
        kvlink_tag_settings settings KVLINK_TAG_SETTINGS_INIT;
        if (m_in.below(4) == 3) {
            settings.version = version();
            settings.flags = uint32_t(m_in.byte());
            settings.period = number();
            settings.scale = number();
            settings.offset = number();
            settings.deadband = number();
        }
        const std::string address = text(addresses);
        Out<kvlink_tag> added;
        const kvlink_tag_settings *given = m_in.flag() ? &settings : nullptr;
        if (checked(kvlink_tag_add(&added.value, plc(), orNull(address), given)) != KVLINK_OK) {
            require(added.isUntouched(), "set on success only");
            return;
        }
        require(added.value > 0, "a tag is above 0");
        for (const kvlink_tag known : m_tags)
            require(known != added.value, "a tag is never given out again");
        m_tags.push_back(added.value);
        m_live.insert(added.value);
    }

    void changeTag()
    {
        const kvlink_tag which = tag();
        const bool isKnown = m_live.count(which) > 0;
        if (m_in.flag()) {
            const double period = number();
            const int result = checked(kvlink_tag_set_period(m_plc, which, period));
            require(isKnown || result < 0, "an unknown tag has no period");
            require(result < 0 || (period >= 0.0 && period <= 86400.0), "a period has its range");
            return;
        }
        const int result = checked(kvlink_tag_remove(m_plc, which));
        require((result == KVLINK_OK) == isKnown, "a tag is removed once");
        m_live.erase(which);
    }

    void sampleOf()
    {
        const kvlink_tag which = tag();
        Out<kvlink_sample> sample;
        kvlink_plc *link = plc();
        const int result = checked(kvlink_sample_of(&sample.value, link, which));
        require((result == KVLINK_OK) == (link != nullptr && m_live.count(which) > 0),
                "a tag has a sample until it is removed");
        if (result == KVLINK_OK)
            requireSample(sample.value);
        else
            require(sample.isUntouched(), "set on success only");
    }

    // --- reads -----------------------------------------------------------------------------------

    std::vector<kvlink_tag> someTags()
    {
        std::vector<kvlink_tag> some;
        for (int left = m_in.below(5); left > 0; --left)
            some.push_back(tag());
        return some;
    }

    void readNow()
    {
        const std::vector<kvlink_tag> tags = someTags();
        const bool isNull = m_in.below(16) == 15;
        const int64_t id = checked(kvlink_read_now(plc(), isNull ? nullptr : tags.data(), tags.size()));
        if (id < 0)
            return;
        newId(id);
        m_openReads.insert(id);
    }

    void readWait()
    {
        const std::vector<kvlink_tag> tags = someTags();
        require(checked(kvlink_read_wait(plc(), tags.data(), tags.size(), wait())) < 0, "nobody answers");
    }

    // --- writes ----------------------------------------------------------------------------------

    kvlink_write_options options()
    {
        kvlink_write_options options KVLINK_WRITE_OPTIONS_INIT;
        options.flags = uint32_t(m_in.below(8));
        if (m_in.below(4) == 3) {
            options.version = version();
            options.expires = number();
            options.attempts = m_in.between(-1, 12);
        }
        return options;
    }

    void newId(int64_t id)
    {
        require(id > m_lastId, "an id is above 0 and never given out again");
        m_lastId = id;
        m_ids.push_back(id);
    }

    void handedOut(int64_t id, uint32_t flags)
    {
        if (id < 0)
            return;
        newId(id);
        if ((flags & KVLINK_WRITE_AWAITED) != 0)
            m_awaited.insert(id);
        else
            m_openWrites.insert(id);
    }

    void writeOne()
    {
        kvlink_plc *link = plc();
        const kvlink_tag which = tag();
        const kvlink_write_options how = options();
        const std::string shown = text(typed);
        int64_t id = 0;
        switch (m_in.below(5)) {
        case 0:
            id = kvlink_write_bool(link, which, m_in.byte(), &how);
            break;
        case 1:
            id = kvlink_write_int(link, which, this->id(), &how);
            break;
        case 2:
            id = kvlink_write_real(link, which, number(), &how);
            break;
        case 3:
            id = kvlink_write_text(link, which, orNull(shown), &how);
            break;
        default:
            id = kvlink_write_typed(link, which, orNull(shown), &how);
            break;
        }
        handedOut(checked(id), how.flags);
    }

    void writeMany()
    {
        kvlink_plc *link = plc();
        const kvlink_tag which = tag();
        const kvlink_write_options how = options();
        const int count = m_in.below(24);
        const int repeat = m_in.below(16) == 15 ? 1000 : 1;
        std::vector<int64_t> whole;
        std::vector<double> reals;
        for (int i = 0; i < count; ++i) {
            const int value = m_in.byte();
            whole.insert(whole.end(), std::size_t(repeat), value * 257 - 300);
            reals.insert(reals.end(), std::size_t(repeat), value == 255 ? std::nan("") : value * 1e36);
        }
        if (m_in.flag())
            handedOut(checked(kvlink_write_ints(link, which, whole.data(), whole.size(), &how)), how.flags);
        else
            handedOut(checked(kvlink_write_reals(link, which, reals.data(), reals.size(), &how)), how.flags);
    }

    void pushButton()
    {
        const int what = m_in.below(4);
        kvlink_plc *link = plc();
        if (what == 0) {
            const kvlink_tag relay = tag();
            const double length = number();
            const auto flags = uint32_t(m_in.below(8));
            handedOut(checked(kvlink_pulse(link, relay, length, flags)), flags);
        } else if (what == 1) {
            handedOut(checked(kvlink_press(link, tag())), 0);
        } else {
            const int64_t press = id();
            checked(what == 2 ? kvlink_renew(link, press) : kvlink_release(link, press));
        }
    }

    void cancel()
    {
        kvlink_plc *link = plc();
        const int result = m_in.flag() ? kvlink_cancel_all(link) : kvlink_cancel(link, id());
        require(checked(result) >= 0 || link == nullptr, "only NULL is refused");
    }

    void requireUnsent(const kvlink_write_result &result)
    {
        require(result.outcome == KVLINK_NOT_SENT && result.attempts == 0, "nothing was sent");
        require(result.reason != KVLINK_REASON_NONE, "what was not sent has a reason");
        requireText(result.text);
        require(*result.text != '\0', "a write ends with a sentence");
    }

    void takeAwaited(int64_t id)
    {
        kvlink_write_result result{};
        require(kvlink_write_wait(&result, m_plc, id, 0.0) == KVLINK_OK,
                "an awaited write ends with its link");
        require(result.id == id, "an end has the id of its write");
        requireUnsent(result);
        require(kvlink_write_wait(&result, m_plc, id, 0.0) == KVLINK_EINVAL, "an end is taken once");
    }

    void writeWait()
    {
        const int64_t which = id();
        Out<kvlink_write_result> result;
        const int ended = checked(kvlink_write_wait(&result.value, m_plc, which, wait()));
        require(ended < 0 || m_awaited.count(which) > 0, "only what is awaited can be waited for");
        if (ended < 0) {
            require(result.isUntouched(), "set on success only");
            return;
        }
        requireUnsent(result.value);
        m_awaited.erase(which);
    }

    // --- events ----------------------------------------------------------------------------------

    void takeOne(const kvlink_event &event)
    {
        switch (event.type) {
        case KVLINK_EVENT_SAMPLE:
            require(m_live.count(event.tag) > 0, "a tag that was removed has no events");
            requireSample(event.sample);
            break;
        case KVLINK_EVENT_WRITE:
            require(m_openWrites.erase(event.id) == 1, "a write ends once");
            require(event.write.id == event.id && event.write.tag == event.tag,
                    "an end is that of its write");
            requireUnsent(event.write);
            break;
        case KVLINK_EVENT_LINK:
            require(event.link.state != KVLINK_READY, "no link is ready without a line");
            requireText(event.link.problem);
            break;
        case KVLINK_EVENT_READ:
            require(m_openReads.erase(event.id) == 1, "a read ends once");
            break;
        default:
            require(false, "an event has a type");
        }
    }

    void takeEvents()
    {
        kvlink_event event{};
        for (int left = m_in.below(16); left > 0 && checked(kvlink_next(&event, m_plc)) == 1; --left)
            takeOne(event);
        require(kvlink_next(nullptr, m_plc) == KVLINK_EINVAL, "NULL is refused");
    }

    void takeAll()
    {
        kvlink_event event{};
        while (kvlink_next(&event, m_plc) == 1)
            takeOne(event);
    }

    void poll()
    {
        Out<int> fd;
        const int result = checked(kvlink_poll(&fd.value, plc()));
        checked(kvlink_wait(plc(), wait()));
        if (result != KVLINK_OK) {
            require(fd.isUntouched(), "set on success only");
            return;
        }
        // A link that runs may bring an event between the two.
        if (m_isStarted)
            return;
        pollfd readable{fd.value, POLLIN, 0};
        const int isReadable = ::poll(&readable, 1, 0);
        require(isReadable == kvlink_wait(m_plc, 0.0), "the descriptor is readable while an event waits");
    }

    // --- the rest --------------------------------------------------------------------------------

    void askNames()
    {
        const int number = m_in.flag() ? m_in.between(-2, 20) : m_in.number();
        for (const char *name :
             {kvlink_link_state_name(number), kvlink_quality_name(number), kvlink_reason_text(number),
              kvlink_outcome_name(number), kvlink_strerror(number), kvlink_version()}) {
            requireText(name);
            require(*name != '\0' || number == KVLINK_REASON_NONE, "whatever the number, it has a name");
        }
        checked(kvlink_require(number, m_in.byte()));
    }

    void fillRecords()
    {
        const uint32_t which = version();
        const int wanted = which == 1 ? KVLINK_OK : KVLINK_EINVAL;
        Out<kvlink_link_settings> link;
        Out<kvlink_tag_settings> settings;
        Out<kvlink_write_options> write;
        Out<kvlink_statistics> statistics;
        require(checked(kvlink_link_settings_init(&link.value, which)) == wanted &&
                    checked(kvlink_tag_settings_init(&settings.value, which)) == wanted &&
                    checked(kvlink_write_options_init(&write.value, which)) == wanted &&
                    checked(kvlink_statistics_init(&statistics.value, which)) == wanted,
                "records of known versions are filled in");
        require(wanted == KVLINK_OK || (link.isUntouched() && settings.isUntouched() && write.isUntouched() &&
                                        statistics.isUntouched()),
                "set on success only");
        require(
            kvlink_link_settings_init(nullptr, which) < 0 && kvlink_tag_settings_init(nullptr, which) < 0 &&
                kvlink_write_options_init(nullptr, which) < 0 && kvlink_statistics_init(nullptr, which) < 0,
            "NULL is refused");
    }

    Input m_in;
    kvlink_plc *m_plc = nullptr;
    bool m_mayStart = false;
    bool m_isStarted = false;
    std::vector<kvlink_tag> m_tags; // all that this link gave out
    std::set<kvlink_tag> m_live;
    std::vector<int64_t> m_ids; // all that this link gave out
    int64_t m_lastId = 0;
    std::set<int64_t> m_openWrites; // whose end is an event
    std::set<int64_t> m_awaited;
    std::set<int64_t> m_openReads;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Session(Input(data, size)).run();
    return 0;
}
