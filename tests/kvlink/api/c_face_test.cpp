// SPDX-License-Identifier: MIT
// The C face: results, records, texts, events and the descriptor, against kv-sim.
#include "api/c_records.h"
#include "simulated_plc.h"

#include <kvlink/kvlink.h>

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include <poll.h>

namespace
{
constexpr double patience = 10.0; // s

// A started link to a kv-sim of its own.
class CFace : public testing::Test
{
protected:
    CFace()
    {
        qputenv("KV_DRIVER", KV_DRIVER_PATH);
        EXPECT_EQ(kvlink_plc_new(&plc, sim.url().toUtf8().constData(), nullptr), KVLINK_OK)
            << kvlink_last_error();
    }
    ~CFace() override { kvlink_plc_free(plc); }

    void start()
    {
        ASSERT_EQ(kvlink_plc_start(plc), KVLINK_OK) << kvlink_last_error();
        ASSERT_EQ(kvlink_link_wait(plc, patience), KVLINK_OK) << kvlink_last_error();
    }
    kvlink_tag tag(const char *address, double period = 0.0)
    {
        kvlink_tag_settings settings KVLINK_TAG_SETTINGS_INIT;
        settings.period = period;
        kvlink_tag added = 0;
        EXPECT_EQ(kvlink_tag_add(&added, plc, address, &settings), KVLINK_OK) << kvlink_last_error();
        return added;
    }
    kvlink_sample read(kvlink_tag which)
    {
        kvlink_sample sample{};
        EXPECT_EQ(kvlink_read_wait(plc, &which, 1, patience), KVLINK_OK) << kvlink_last_error();
        EXPECT_EQ(kvlink_sample_of(&sample, plc, which), KVLINK_OK);
        return sample;
    }
    // The end of an awaited write: "done", "not sent: the value does not fit".
    std::string end(int64_t id)
    {
        kvlink_write_result result{};
        if (kvlink_write_wait(&result, plc, id, patience) != KVLINK_OK)
            return kvlink_last_error();
        EXPECT_EQ(result.id, id);
        const std::string outcome = kvlink_outcome_name(result.outcome);
        return result.reason == KVLINK_REASON_NONE ? outcome
                                                   : outcome + ": " + kvlink_reason_text(result.reason);
    }
    // Takes events until one is of this type, waiting on the descriptor.
    bool next(kvlink_event &event, int type)
    {
        int fd = -1;
        EXPECT_EQ(kvlink_poll(&fd, plc), KVLINK_OK);
        pollfd wait{fd, POLLIN, 0};
        while (::poll(&wait, 1, int(patience * 1000)) == 1) {
            while (kvlink_next(&event, plc) == 1) {
                if (event.type == type)
                    return true;
            }
        }
        return false;
    }

    SimulatedPlc sim;
    kvlink_plc *plc = nullptr;
    const kvlink_write_options awaited{1, KVLINK_WRITE_AWAITED, 5.0, 2, 0};
};

// --- errors --------------------------------------------------------------------------------------

TEST(CErrors, haveTextsEach)
{
    for (int error = KVLINK_ESTOPPED; error <= KVLINK_OK; ++error)
        EXPECT_STRNE(kvlink_strerror(error), "an unknown error") << error;
    EXPECT_STREQ(kvlink_strerror(-99), "an unknown error");
    EXPECT_STREQ(kvlink_strerror(1), "an unknown error");
}

TEST(CErrors, namesOfNumbersThatAreNoneAreUnknown)
{
    EXPECT_STREQ(kvlink_quality_name(KVLINK_STALE), "stale");
    EXPECT_STREQ(kvlink_quality_name(5), "unknown");
    EXPECT_STREQ(kvlink_quality_name(-1), "unknown");
    EXPECT_STREQ(kvlink_outcome_name(KVLINK_NOT_SENT), "not sent");
    EXPECT_STREQ(kvlink_outcome_name(99), "unknown");
    EXPECT_STREQ(kvlink_link_state_name(KVLINK_WAITING), "waiting");
    EXPECT_STREQ(kvlink_reason_text(KVLINK_REASON_NO_LINK), "no link");
    EXPECT_STREQ(kvlink_reason_text(17), "unknown");
}

// Seconds since 1970 fill 31 bits in January 2038 and 32 bits in February 2106.
TEST(CRecords, haveTimesAfterTheSecondsSince1970TakeMoreBits)
{
    kvlink::Handed handed;
    kvlink::Sample sample;
    kvlink::WriteResult result;
    kvlink::LinkStatus status;
    sample.time = result.time = status.since =
        kvlink::WallTime(std::chrono::microseconds(4'294'967'296'250'000));
    EXPECT_EQ(kvlink::recordOf(sample, handed).time, 4294967296.25);
    EXPECT_EQ(kvlink::recordOf(result, handed).time, 4294967296.25);
    EXPECT_EQ(kvlink::recordOf(status, handed).since, 4294967296.25);
    EXPECT_EQ(kvlink::seconds(std::chrono::microseconds(2'147'483'648'500'000)), 2147483648.5);
}

struct VersionRow {
    const char *name;
    int major, minor, result;
};

class Require : public testing::TestWithParam<VersionRow>
{
};

TEST_P(Require, comparesWithWhatWasLoaded)
{
    EXPECT_EQ(kvlink_require(GetParam().major, GetParam().minor), GetParam().result);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Versions, Require, testing::Values(
    VersionRow{"same",       0, 2, KVLINK_OK},
    VersionRow{"older",      0, 1, KVLINK_EVERSION}, // before 1.0 each minor version is a library of its own
    VersionRow{"newer",      0, 3, KVLINK_EVERSION},
    VersionRow{"otherMajor", 1, 0, KVLINK_EVERSION}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(CErrors, aVersionThatIsNotLoadedIsNamed)
{
    EXPECT_EQ(kvlink_require(7, 1), KVLINK_EVERSION);
    EXPECT_STREQ(kvlink_last_error(), "version 7.1 of kvlink is needed; 0.2.0 was loaded");
}

TEST(CErrors, eachThreadHasItsOwn)
{
    kvlink_require(7, 1);
    std::thread other([] {
        EXPECT_STREQ(kvlink_last_error(), "");
        kvlink_require(8, 1);
    });
    other.join();
    EXPECT_STREQ(kvlink_last_error(), "version 7.1 of kvlink is needed; 0.2.0 was loaded");
}

TEST_F(CFace, nullAndNumbersOutOfRangeAreRefused)
{
    const double nan = std::nan("");
    kvlink_tag one = tag("DM0");
    kvlink_sample sample;
    kvlink_event event;
    kvlink_statistics statistics KVLINK_STATISTICS_INIT;
    int fd;
    const char *text;
    kvlink_plc_free(nullptr);
    EXPECT_EQ(kvlink_plc_new(nullptr, "tcp://127.0.0.1", nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_plc_new(&plc, nullptr, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_plc_start(nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_plc_stop(nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_link(nullptr, plc), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_link_wait(plc, -1.0), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_link_wait(plc, nan), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_statistics_of(&statistics, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_query_wait(&text, plc, nullptr, 1.0), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_query_wait(&text, plc, "M0", 1.0), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_tag_add(&one, plc, nullptr, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_tag_set_period(plc, one, nan), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_tag_set_period(plc, one, 86401.0), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_sample_of(nullptr, plc, one), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_sample_of(&sample, nullptr, one), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_read_now(plc, nullptr, 1), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_read_wait(plc, &one, 1, -1.0), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_write_int(nullptr, one, 1, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_write_text(plc, one, nullptr, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_write_typed(plc, one, nullptr, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_write_ints(plc, one, nullptr, 1, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_write_wait(nullptr, plc, 1, 1.0), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_pulse(plc, one, nan, 0), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_press(plc, one), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_poll(nullptr, plc), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_poll(&fd, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_next(nullptr, plc), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_next(&event, nullptr), KVLINK_EINVAL);
    EXPECT_EQ(kvlink_wait(plc, nan), KVLINK_EINVAL);
}

TEST_F(CFace, tagsThatAreNoneAreRefused)
{
    const kvlink_tag none = 99;
    kvlink_sample sample;
    EXPECT_EQ(kvlink_sample_of(&sample, plc, none), KVLINK_ENOTAG);
    EXPECT_STREQ(kvlink_last_error(), "there is no tag 99, or no longer");
    EXPECT_EQ(kvlink_read_now(plc, &none, 1), KVLINK_ENOTAG);
    EXPECT_EQ(kvlink_read_wait(plc, &none, 1, 1.0), KVLINK_ENOTAG);
    EXPECT_EQ(kvlink_tag_remove(plc, none), KVLINK_ENOTAG);
    EXPECT_EQ(kvlink_tag_set_period(plc, none, 1.0), KVLINK_ENOTAG);
    EXPECT_EQ(kvlink_press(plc, none), KVLINK_ENOTAG);
    const kvlink_tag removed = tag("DM0");
    EXPECT_EQ(kvlink_tag_remove(plc, removed), KVLINK_OK);
    EXPECT_EQ(kvlink_sample_of(&sample, plc, removed), KVLINK_ENOTAG);
}

TEST_F(CFace, eachKindOfMistakeHasItsError)
{
    kvlink_plc *other = nullptr;
    kvlink_tag one = 0;
    kvlink_link_settings settings KVLINK_LINK_SETTINGS_INIT;
    kvlink_tag_settings tagSettings KVLINK_TAG_SETTINGS_INIT;
    EXPECT_EQ(kvlink_plc_new(&other, "tcp://192.168.1", nullptr), KVLINK_EADDRESS);
    settings.open = 2;
    EXPECT_EQ(kvlink_plc_new(&other, "tcp://127.0.0.1", &settings), KVLINK_EINVAL);
    kvlink_link_settings_init(&settings, 1);
    settings.max_block = 1001;
    EXPECT_EQ(kvlink_plc_new(&other, "tcp://127.0.0.1", &settings), KVLINK_EINVAL);
    EXPECT_STREQ(kvlink_last_error(),
                 "a largest request of 1001 is not possible; it must be between 1 and 1000");
    kvlink_link_settings_init(&settings, 1);
    settings.driver = "/nowhere/driver.so";
    EXPECT_EQ(kvlink_plc_new(&other, "tcp://127.0.0.1", &settings), KVLINK_EDRIVER);
    settings.version = 2;
    EXPECT_EQ(kvlink_plc_new(&other, "tcp://127.0.0.1", &settings), KVLINK_EINVAL);
    EXPECT_EQ(other, nullptr);

    EXPECT_EQ(kvlink_tag_add(&one, plc, "D100", nullptr), KVLINK_EADDRESS);
    tagSettings.scale = 0.0;
    EXPECT_EQ(kvlink_tag_add(&one, plc, "DM100", &tagSettings), KVLINK_EINVAL);
    tagSettings = KVLINK_TAG_SETTINGS_INIT;
    tagSettings.period = -1.0;
    EXPECT_EQ(kvlink_tag_add(&one, plc, "DM100", &tagSettings), KVLINK_EINVAL);
    EXPECT_EQ(one, 0U);

    one = tag("DM100");
    EXPECT_EQ(kvlink_link_wait(plc, patience), KVLINK_ESTOPPED);
    EXPECT_EQ(kvlink_read_wait(plc, &one, 1, patience), KVLINK_ESTOPPED);
    const char *answer = nullptr;
    EXPECT_EQ(kvlink_query_wait(&answer, plc, "?K", patience), KVLINK_ESTOPPED);
    sim.stop();
    kvlink_plc_start(plc);
    EXPECT_EQ(kvlink_link_wait(plc, 0.01), KVLINK_ETIMEOUT);
    EXPECT_EQ(kvlink_read_wait(plc, &one, 1, 0.01), KVLINK_ETIMEOUT);
    EXPECT_EQ(kvlink_query_wait(&answer, plc, "?K", 0.01), KVLINK_ETIMEOUT);
}

// --- values --------------------------------------------------------------------------------------

TEST_F(CFace, samplesBringEachKindOfValue)
{
    sim.tell("set DM100=1,2,65535");
    sim.tell("set DM110=0,16320"); // 1.5
    sim.tell("set DM120=16706,17152");
    sim.tell("set R500=1");
    start();

    kvlink_sample sample = read(tag("DM100:3"));
    EXPECT_EQ(sample.quality, KVLINK_GOOD);
    ASSERT_EQ(sample.count, 3);
    EXPECT_EQ(sample.values[2].type, KVLINK_INT);
    EXPECT_EQ(sample.values[2].integer, 65535);
    EXPECT_EQ(sample.values[2].real, 65535.0);
    EXPECT_STREQ(sample.values[2].text, "");
    EXPECT_STREQ(sample.text, "1,2,65535");
    EXPECT_STREQ(sample.problem, "");
    EXPECT_GT(sample.time, 1.7e9); // after 2023
    EXPECT_GT(sample.steady, 0.0);

    sample = read(tag("DM110.F"));
    EXPECT_EQ(sample.values[0].type, KVLINK_REAL);
    EXPECT_EQ(sample.values[0].real, 1.5);

    sample = read(tag("DM120.STR:4"));
    EXPECT_EQ(sample.values[0].type, KVLINK_TEXT);
    EXPECT_STREQ(sample.values[0].text, "ABC");
    EXPECT_TRUE(std::isnan(sample.values[0].real));

    sample = read(tag("R500"));
    EXPECT_EQ(sample.values[0].type, KVLINK_BOOL);
    EXPECT_EQ(sample.values[0].integer, 1);
}

TEST_F(CFace, beforeTheFirstReadASampleIsNever)
{
    kvlink_sample sample;
    EXPECT_EQ(kvlink_sample_of(&sample, plc, tag("DM100")), KVLINK_OK);
    EXPECT_EQ(sample.quality, KVLINK_NEVER);
    EXPECT_EQ(sample.count, 0);
    EXPECT_EQ(sample.values, nullptr);
    EXPECT_EQ(sample.time, 0.0);
    EXPECT_STREQ(sample.text, "");
}

// --- writes --------------------------------------------------------------------------------------

TEST_F(CFace, writesOfEachKindAreThere)
{
    const int64_t ints[] = {1, 2, 3};
    const double reals[] = {1.5, -2.0};
    start();
    EXPECT_EQ(end(kvlink_write_int(plc, tag("DM200.S"), -5, &awaited)), "done");
    EXPECT_EQ(end(kvlink_write_ints(plc, tag("DM210:3"), ints, 3, &awaited)), "done");
    EXPECT_EQ(end(kvlink_write_real(plc, tag("DM220.F"), 1.5, &awaited)), "done");
    EXPECT_EQ(end(kvlink_write_reals(plc, tag("DM230.F:2"), reals, 2, &awaited)), "done");
    EXPECT_EQ(end(kvlink_write_text(plc, tag("DM240.STR:4"), "ABC", &awaited)), "done");
    EXPECT_EQ(end(kvlink_write_typed(plc, tag("DM250"), "0x1F", &awaited)), "done");
    EXPECT_EQ(end(kvlink_write_bool(plc, tag("R500"), 7, &awaited)), "done");
    EXPECT_EQ(end(kvlink_pulse(plc, tag("R501"), 0.01, KVLINK_WRITE_AWAITED)), "done");
    EXPECT_EQ(sim.tell("get DM200.S"), "ok -00005");
    EXPECT_EQ(sim.tell("get DM210 3"), "ok 00001 00002 00003");
    EXPECT_EQ(sim.tell("get DM220 2"), "ok 00000 16320");
    EXPECT_EQ(sim.tell("get DM230 4"), "ok 00000 16320 00000 49152");
    EXPECT_EQ(sim.tell("get DM240 2"), "ok 16706 17152");
    EXPECT_EQ(sim.tell("get DM250"), "ok 00031");
    EXPECT_EQ(sim.tell("get R500 2"), "ok 1 0");
}

TEST_F(CFace, whatDoesNotFitEndsAsNotSent)
{
    const std::string invalid = std::string("not sent: ") + kvlink_reason_text(KVLINK_REASON_INVALID_VALUE);
    kvlink_write_options options = awaited;
    start();
    EXPECT_EQ(end(kvlink_write_int(plc, tag("DM200"), 70000, &options)), invalid);
    EXPECT_EQ(end(kvlink_write_int(plc, 99, 1, &options)), invalid);
    options.expires = 0.0;
    EXPECT_EQ(end(kvlink_write_int(plc, tag("DM200"), 1, &options)), invalid);
    options.version = 2;
    EXPECT_EQ(kvlink_write_int(plc, tag("DM200"), 1, &options), KVLINK_EINVAL);
    EXPECT_EQ(sim.tell("get DM200"), "ok 00000");
}

TEST_F(CFace, anAwaitedWriteCanBeAskedForAgain)
{
    kvlink_write_result result;
    kvlink_write_options waits = awaited;
    waits.flags |= KVLINK_WRITE_WAIT_LINK;
    waits.expires = 3600.0;
    sim.stop();
    kvlink_plc_start(plc);
    const int64_t id = kvlink_write_int(plc, tag("DM200"), 1, &waits);
    EXPECT_EQ(kvlink_write_wait(&result, plc, id, 0.01), KVLINK_ETIMEOUT);
    EXPECT_EQ(kvlink_cancel(plc, id), 1);
    EXPECT_EQ(kvlink_cancel(plc, id), 0);
    EXPECT_EQ(kvlink_write_wait(&result, plc, id, patience), KVLINK_OK);
    EXPECT_EQ(result.reason, KVLINK_REASON_CANCELLED);
    EXPECT_EQ(result.attempts, 0);
    EXPECT_EQ(kvlink_write_wait(&result, plc, id, patience), KVLINK_EINVAL) << "its end was taken";
    EXPECT_EQ(kvlink_write_wait(&result, plc, kvlink_write_int(plc, tag("DM200"), 1, nullptr), 0.0),
              KVLINK_EINVAL)
        << "its end is an event";
}

TEST_F(CFace, cancelAllCancelsWhatWaits)
{
    kvlink_write_options waits KVLINK_WRITE_OPTIONS_INIT;
    waits.flags = KVLINK_WRITE_WAIT_LINK;
    sim.stop();
    kvlink_plc_start(plc);
    kvlink_write_int(plc, tag("DM200"), 1, &waits);
    kvlink_write_int(plc, tag("DM201"), 1, &waits);
    EXPECT_EQ(kvlink_cancel_all(plc), 2);
}

TEST_F(CFace, aButtonHoldsUntilItIsReleased)
{
    start();
    const int64_t press = kvlink_press(plc, tag("R500"));
    ASSERT_GT(press, 0);
    while (sim.tell("get R500") != "ok 1")
        ASSERT_EQ(kvlink_renew(plc, press), KVLINK_OK);
    EXPECT_EQ(kvlink_release(plc, press), KVLINK_OK);
    kvlink_event event;
    ASSERT_TRUE(next(event, KVLINK_EVENT_WRITE));
    EXPECT_EQ(event.id, press);
    EXPECT_EQ(event.write.outcome, KVLINK_DONE);
    EXPECT_EQ(sim.tell("get R500"), "ok 0");
}

// --- events --------------------------------------------------------------------------------------

TEST_F(CFace, eventsComeInOrderAndTheDescriptorSaysWhen)
{
    kvlink_event event;
    int fd = -1;
    ASSERT_EQ(kvlink_poll(&fd, plc), KVLINK_OK);
    pollfd look{fd, POLLIN, 0};
    EXPECT_EQ(::poll(&look, 1, 0), 0);
    EXPECT_EQ(kvlink_next(&event, plc), 0);
    EXPECT_EQ(kvlink_wait(plc, 0.0), 0);

    const kvlink_tag word = tag("DM100", 0.02);
    sim.tell("set DM100=5");
    start();
    ASSERT_TRUE(next(event, KVLINK_EVENT_LINK));
    EXPECT_EQ(event.link.state, KVLINK_RESOLVING);
    ASSERT_TRUE(next(event, KVLINK_EVENT_SAMPLE));
    EXPECT_EQ(event.tag, word);
    EXPECT_STREQ(event.sample.text, "5");

    const int64_t write = kvlink_write_int(plc, word, 6, nullptr);
    ASSERT_TRUE(next(event, KVLINK_EVENT_WRITE));
    EXPECT_EQ(event.id, write);
    EXPECT_EQ(event.tag, word);
    EXPECT_EQ(event.write.outcome, KVLINK_DONE);
    EXPECT_EQ(event.write.attempts, 1);

    const int64_t read = kvlink_read_now(plc, &word, 1);
    ASSERT_TRUE(next(event, KVLINK_EVENT_READ));
    EXPECT_EQ(event.id, read);
}

TEST_F(CFace, afterTheStopTheEndsOfAllWritesAreThere)
{
    kvlink_write_options waits KVLINK_WRITE_OPTIONS_INIT;
    waits.flags = KVLINK_WRITE_WAIT_LINK;
    sim.stop();
    kvlink_plc_start(plc);
    const kvlink_tag word = tag("DM100");
    for (int i = 0; i < 100; ++i)
        kvlink_write_int(plc, word, i, &waits);
    EXPECT_EQ(kvlink_plc_stop(plc), KVLINK_OK);
    int ends = 0;
    kvlink_event event;
    while (kvlink_next(&event, plc) == 1) {
        if (event.type == KVLINK_EVENT_WRITE && event.write.reason == KVLINK_REASON_STOPPED)
            ++ends;
    }
    EXPECT_EQ(ends, 100);
}

TEST_F(CFace, linkStatisticsAndQuestions)
{
    kvlink_link_status link;
    ASSERT_EQ(kvlink_link(&link, plc), KVLINK_OK);
    EXPECT_EQ(link.state, KVLINK_STOPPED);
    start();
    ASSERT_EQ(kvlink_link(&link, plc), KVLINK_OK);
    EXPECT_EQ(link.state, KVLINK_READY);
    EXPECT_STREQ(link.problem, "");
    EXPECT_GT(link.since, 1.7e9);

    const char *answer = nullptr;
    ASSERT_EQ(kvlink_query_wait(&answer, plc, "?K", patience), KVLINK_OK);
    EXPECT_STREQ(answer, "57");
    read(tag("DM0"));
    kvlink_statistics statistics KVLINK_STATISTICS_INIT;
    ASSERT_EQ(kvlink_statistics_of(&statistics, plc), KVLINK_OK);
    EXPECT_EQ(statistics.version, 1U);
    EXPECT_EQ(statistics.connects, 1U);
    EXPECT_GE(statistics.answers, 1U);
    EXPECT_GT(statistics.bytes_received, 0U);
    EXPECT_GT(statistics.answer_max, 0.0);
    statistics.version = 2;
    EXPECT_EQ(kvlink_statistics_of(&statistics, plc), KVLINK_EINVAL);
}
} // namespace
