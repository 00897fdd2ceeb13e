// SPDX-License-Identifier: MIT
/* The public C header in a program of its own: strict C99 and strict C++11. Each _INIT macro must agree, byte for byte, with
 * its _init function. */
#include <kvlink/kvlink.h>

#include <stdio.h>
#include <string.h>

/* One row for each record that callers fill in. */
#define CHECK(record, init)                                                                                  \
    do {                                                                                                     \
        record by_macro;                                                                                     \
        record by_function;                                                                                  \
        const record given = init;                                                                           \
        memset(&by_macro, 0x55, sizeof by_macro);                                                            \
        memset(&by_function, 0xAA, sizeof by_function);                                                      \
        by_macro = given;                                                                                    \
        if (record##_init(&by_function, 1) != KVLINK_OK ||                                                   \
            memcmp(&by_macro, &by_function, sizeof by_macro) != 0) {                                         \
            printf("%s: _INIT and _init differ\n", #record);                                                 \
            failures++;                                                                                      \
        }                                                                                                    \
        if (record##_init(&by_function, 0) != KVLINK_EINVAL ||                                               \
            record##_init(&by_function, 2) != KVLINK_EINVAL || record##_init(NULL, 1) != KVLINK_EINVAL) {    \
            printf("%s: an unknown version was taken\n", #record);                                           \
            failures++;                                                                                      \
        }                                                                                                    \
    } while (0)

int main(void)
{
    int failures = 0;
    CHECK(kvlink_link_settings, KVLINK_LINK_SETTINGS_INIT);
    CHECK(kvlink_tag_settings, KVLINK_TAG_SETTINGS_INIT);
    CHECK(kvlink_write_options, KVLINK_WRITE_OPTIONS_INIT);
    CHECK(kvlink_statistics, KVLINK_STATISTICS_INIT);
    if (kvlink_require(KVLINK_VERSION_MAJOR, KVLINK_VERSION_MINOR) != KVLINK_OK) {
        printf("%s\n", kvlink_last_error());
        failures++;
    }
    return failures;
}
