// SPDX-License-Identifier: MIT
/* Writes DM200, reads DM100, and shows R500 until it is on. Use: minimal tcp://192.168.0.10 */
#include <kvlink/kvlink.h>

#include <poll.h>
#include <stdio.h>

static int failed(void)
{
    fprintf(stderr, "%s\n", kvlink_last_error());
    return 1;
}

int main(int argc, char **argv)
{
    kvlink_plc *plc = NULL;
    kvlink_tag level, speed, run;
    kvlink_sample sample;
    kvlink_write_options options = KVLINK_WRITE_OPTIONS_INIT;
    kvlink_write_result result;
    kvlink_event event = {0};
    struct pollfd wait = {-1, POLLIN, 0};
    int on = 0;

    if (argc != 2 || kvlink_require(KVLINK_VERSION_MAJOR, KVLINK_VERSION_MINOR) < 0)
        return fprintf(stderr, "use: minimal tcp://ADDRESS\n"), 2;
    if (kvlink_plc_new(&plc, argv[1], NULL) < 0 || kvlink_tag_add(&level, plc, "DM100", NULL) < 0 ||
        kvlink_tag_add(&speed, plc, "DM200.S", NULL) < 0 || kvlink_tag_add(&run, plc, "R500", NULL) < 0 ||
        kvlink_plc_start(plc) < 0 || kvlink_link_wait(plc, 5.0) < 0)
        return failed();

    /* A write and a read that wait: for tools and small programs. */
    options.flags = KVLINK_WRITE_AWAITED;
    if (kvlink_write_wait(&result, plc, kvlink_write_int(plc, speed, -5, &options), 10.0) < 0)
        return failed();
    printf("DM200: %s\n", result.text);
    if (kvlink_read_wait(plc, &level, 1, 2.0) < 0 || kvlink_sample_of(&sample, plc, level) < 0)
        return failed();
    printf("DM100 = %s (%s)\n", sample.text, kvlink_quality_name(sample.quality));

    /* Events: for programs with a loop of their own. The descriptor stays readable while an event waits. */
    if (kvlink_poll(&wait.fd, plc) < 0)
        return failed();
    while (!on && poll(&wait, 1, 10000) > 0) {
        while (kvlink_next(&event, plc) == 1) {
            if (event.type != KVLINK_EVENT_SAMPLE || event.tag != run)
                continue;
            printf("R500 = %s (%s)\n", event.sample.text, kvlink_quality_name(event.sample.quality));
            on = event.sample.quality == KVLINK_GOOD && event.sample.values[0].integer;
        }
    }
    kvlink_plc_free(plc);
    return on ? 0 : 1;
}
