// SPDX-License-Identifier: MIT
/** \file
 * Links to KV PLCs, for C and for every language that can call C.
 *
 *  - Handles are opaque. kvlink_plc_new() makes one, kvlink_plc_free() ends it; freeing NULL does
 *    nothing.
 *  - Results: 0 or more is good, below 0 is a kvlink_error. Out-parameters come first and are set on
 *    success only.
 *  - Texts are UTF-8 and never NULL. A text or a list that a call hands out lives until the same
 *    thread's next call of the same function; never free it.
 *  - Times are seconds. Times of day count from 1970, UTC.
 *  - Threads: every call may come from any thread; one at a time takes events, and kvlink_plc_free()
 *    comes last. kvlink never calls you. Events wait, in order, until you take them.
 *  - Samples: many changes of a tag that nobody has taken yet are one event, which brings the newest
 *    sample. So at most one change of each tag waits, and at most 64 changes of the link;
 *    ends of writes and of reads are never dropped.
 *  - Writes: each kvlink_write call returns an id above 0. Exactly one KVLINK_EVENT_WRITE with that id
 *    follows; after kvlink_plc_stop() all of them are there. kvlink_plc_free() drops what
 *    nobody took.
 *  - Records begin with a version where you fill them in: start from their _INIT macro, or from
 *    their _init function in languages without macros. NULL instead of one means its _INIT.
 *  - Frozen: numbers, names and layouts never change. New members come at the end, under a higher
 *    version.
 *
 * \code{.c}
 *      kvlink_plc *plc;
 *      kvlink_tag speed;
 *      kvlink_sample sample;
 *      if (kvlink_plc_new(&plc, "tcp://192.168.0.10", NULL) < 0 || kvlink_plc_start(plc) < 0 ||
 *          kvlink_tag_add(&speed, plc, "DM200.S", NULL) < 0 ||
 *          kvlink_read_wait(plc, &speed, 1, 2.0) < 0 || kvlink_sample_of(&sample, plc, speed) < 0)
 *          return fprintf(stderr, "%s\n", kvlink_last_error()), 1;
 *      printf("%s (%s)\n", sample.text, kvlink_quality_name(sample.quality));
 *      kvlink_plc_free(plc);
 * \endcode
 */
#ifndef KVLINK_H
#define KVLINK_H

/* clang-format off */
/* C names, C types and C headers, for compilers that know nothing else. */
/* NOLINTBEGIN(readability-identifier-naming,modernize-use-using,modernize-deprecated-headers,cppcoreguidelines-macro-usage) */
#include <stddef.h>
#include <stdint.h>

#define KVLINK_VERSION_MAJOR 0
#define KVLINK_VERSION_MINOR 2
#define KVLINK_VERSION_PATCH 0
#define KVLINK_VERSION_NUMBER \
    (KVLINK_VERSION_MAJOR * 1000000 + KVLINK_VERSION_MINOR * 1000 + KVLINK_VERSION_PATCH)

/* KVLINK_API of the C++ headers is the same thing in Qt's words. */
#define KVLINK_C_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* --- version and errors ----------------------------------------------------------------------- */

/** Of the library that was loaded: "0.2.0". */
KVLINK_C_API const char *kvlink_version(void);

/** KVLINK_OK if the loaded library serves what was built for this version: the same major number,
 * at least this minor one; while the major number is 0, the same minor one. Else
 * KVLINK_EVERSION. */
KVLINK_C_API int kvlink_require(int major, int minor);

/** More may come: keep a default. */
typedef enum kvlink_error {
    KVLINK_OK = 0,
    KVLINK_EINVAL = -1,   /**< a NULL, a number out of range, a record of an unknown version */
    KVLINK_EADDRESS = -2, /**< the address of a PLC or of a tag is wrong; the text says how to write it */
    KVLINK_ELIMIT = -3,   /**< the system gave no thread, no memory or no descriptor */
    KVLINK_EDRIVER = -4,  /**< the driver library is missing or does not fit */
    KVLINK_ETIMEOUT = -5, /**< not within the time that was given */
    KVLINK_ENOTAG = -6,   /**< there is no such tag, or no longer */
    KVLINK_EVERSION = -7, /**< the loaded library is not the one that is needed */
    KVLINK_ESTOPPED = -8  /**< the link was not started, or is stopped */
} kvlink_error;

/** What went wrong in the calling thread's last call that failed: a sentence for people, not for
 * strcmp(). */
KVLINK_C_API const char *kvlink_last_error(void);

/** What an error means in general: "the address is wrong". */
KVLINK_C_API const char *kvlink_strerror(int error);

/* --- a PLC ------------------------------------------------------------------------------------ */

typedef struct kvlink_plc kvlink_plc;

typedef enum kvlink_open {
    KVLINK_OPEN_CR = 0,  /**< each connection is opened with CR, as the PLC's manual has it */
    KVLINK_OPEN_NONE = 1 /**< the port does not know CR: requests go out without it */
} kvlink_open;

typedef enum kvlink_word_order { KVLINK_LOW_FIRST = 0, KVLINK_HIGH_FIRST = 1 } kvlink_word_order;

typedef enum kvlink_encoding { KVLINK_UTF8 = 0, KVLINK_SHIFT_JIS = 1, KVLINK_LATIN1 = 2 } kvlink_encoding;

typedef struct kvlink_link_settings {
    uint32_t version;
    int32_t open;          /**< kvlink_open */
    double timeout;        /**< longest wait for an answer, 0.001 to 60; serial: beside its characters */
    double gap;            /**< pause between two requests, 0 to 10 */
    int32_t max_block;     /**< most read units in one request, 1 to 1000 */
    int32_t word_order;    /**< kvlink_word_order: of 32-bit values in word devices */
    int32_t text_encoding; /**< kvlink_encoding */
    int32_t reserved;      /**< 0 */
    const char *driver;    /**< path of the driver library; NULL: where it was installed */
} kvlink_link_settings;
#define KVLINK_LINK_SETTINGS_INIT { 1, KVLINK_OPEN_CR, 1.0, 0.0, 128, KVLINK_LOW_FIRST, KVLINK_UTF8, 0, NULL }
/** Fills in a record as its _INIT macro does. KVLINK_EINVAL: an unknown version. */
KVLINK_C_API int kvlink_link_settings_init(kvlink_link_settings *settings, uint32_t version);

/** Makes a link; nothing is sent yet. url: "tcp://192.168.0.10", "udp://plc1:8501",
 * "serial:///dev/ttyUSB0?baud=9600&parity=even". KVLINK_EADDRESS, KVLINK_EINVAL, KVLINK_EDRIVER. */
KVLINK_C_API int kvlink_plc_new(kvlink_plc **out, const char *url, const kvlink_link_settings *settings);
/** Stops the link and ends the handle, within 0.5 s. */
KVLINK_C_API void kvlink_plc_free(kvlink_plc *plc);
/** Starts the link; it is kept up until it is stopped, however often it is lost. Starting twice
 * does nothing. */
KVLINK_C_API int kvlink_plc_start(kvlink_plc *plc);
/** Ends the link within 0.5 s. Writes that wait end as not sent, the one in flight as unknown. Before
 * that, buttons that are pressed are released and pulses ended, unless the PLC takes longer than
 * 0.4 s to confirm it. */
KVLINK_C_API int kvlink_plc_stop(kvlink_plc *plc);

typedef enum kvlink_link_state {
    KVLINK_STOPPED = 0,
    KVLINK_RESOLVING = 1,
    KVLINK_CONNECTING = 2,
    KVLINK_GREETING = 3,
    KVLINK_READY = 4,
    KVLINK_WAITING = 5 /**< lost or refused; the next attempt comes by itself */
} kvlink_link_state;

typedef struct kvlink_link_status {
    int32_t state; /**< kvlink_link_state */
    int32_t reserved;
    double since;        /**< time of day when this state began */
    double next_try;     /**< with KVLINK_WAITING: from then until the next attempt */
    const char *problem; /**< why the last attempt failed or the link was lost; empty while all is well */
} kvlink_link_status;

/** The state of the link just now. */
KVLINK_C_API int kvlink_link(kvlink_link_status *out, kvlink_plc *plc);
/** Waits until the link is ready. KVLINK_ETIMEOUT after longest; KVLINK_ESTOPPED at once if it is
 * stopped. */
KVLINK_C_API int kvlink_link_wait(kvlink_plc *plc, double longest);
/** "stopped", "resolving", "connecting", "greeting", "ready", "waiting". */
KVLINK_C_API const char *kvlink_link_state_name(int state);

/** Counters since the link was made. Times of answers come from the last 10,000. */
typedef struct kvlink_statistics {
    uint32_t version;
    uint32_t reserved;
    uint64_t requests, answers, no_answers, corrupted, plc_errors, repeats, stray_bytes;
    uint64_t link_losses, connects, missed_passes, bytes_sent, bytes_received;
    uint64_t writes_done, writes_refused, writes_not_sent, writes_unknown;
    double answer_min, answer_median, answer_90, answer_99, answer_max;
} kvlink_statistics;
#define KVLINK_STATISTICS_INIT \
    { 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0.0, 0.0, 0.0, 0.0, 0.0 }
/** Fills in a record as its _INIT macro does. KVLINK_EINVAL: an unknown version. */
KVLINK_C_API int kvlink_statistics_init(kvlink_statistics *statistics, uint32_t version);
/** out comes with its version filled in. */
KVLINK_C_API int kvlink_statistics_of(kvlink_statistics *out, kvlink_plc *plc);

/** Asks the PLC about itself and waits: "?K" (model), "?M" (RUN or PROGRAM), "?E" (error).
 * Nothing else is sent. answer is without its line end; "E0", "E1", ... if the PLC refused.
 * KVLINK_EINVAL, KVLINK_ETIMEOUT, KVLINK_ESTOPPED. */
KVLINK_C_API int kvlink_query_wait(const char **answer, kvlink_plc *plc, const char *command, double longest);

/* --- tags ------------------------------------------------------------------------------------- */

typedef uint32_t kvlink_tag; /**< of one PLC; above 0; never given out again */

typedef enum kvlink_tag_flags {
    KVLINK_TAG_READ_ONLY = 1, /**< writes end as not sent, not permitted */
    KVLINK_TAG_COMMAND = 2    /**< a relay that starts something: never sent twice, whatever a write asks for */
} kvlink_tag_flags;

typedef struct kvlink_tag_settings {
    uint32_t version;
    uint32_t flags;  /**< kvlink_tag_flags, or-ed */
    double period;   /**< between two reads, up to 86400; 0: read on demand only */
    double scale;    /**< shown = raw * scale + offset */
    double offset;
    double deadband; /**< smaller changes of a number, as shown, are no event */
} kvlink_tag_settings;
#define KVLINK_TAG_SETTINGS_INIT { 1, 0, 0.5, 1.0, 0.0, 0.0 }
/** Fills in a record as its _INIT macro does. KVLINK_EINVAL: an unknown version. */
KVLINK_C_API int kvlink_tag_settings_init(kvlink_tag_settings *settings, uint32_t version);

/** address as in the ladder program: "DM100", "R500", "DM200.S", "DM100.5", "W1A.3", "DM0.F:4",
 * "DM10.STR:8". KVLINK_EADDRESS with a text that says what to write instead; KVLINK_EINVAL. */
KVLINK_C_API int kvlink_tag_add(kvlink_tag *out, kvlink_plc *plc, const char *address,
                                const kvlink_tag_settings *settings);
/** No further events of it. KVLINK_ENOTAG. */
KVLINK_C_API int kvlink_tag_remove(kvlink_plc *plc, kvlink_tag tag);
/** The time between two reads from now on, up to 86400; 0: read on demand only. KVLINK_ENOTAG,
 * KVLINK_EINVAL. */
KVLINK_C_API int kvlink_tag_set_period(kvlink_plc *plc, kvlink_tag tag, double period);

/* --- values ----------------------------------------------------------------------------------- */

typedef enum kvlink_quality {
    KVLINK_NEVER = 0,  /**< not read yet */
    KVLINK_GOOD = 1,   /**< read, and not older than three periods of its tag */
    KVLINK_STALE = 2,  /**< the last good value is older than that */
    KVLINK_BAD = 3,    /**< see the reason; the last good value and its time are kept */
    KVLINK_PENDING = 4 /**< written and not read since */
} kvlink_quality;

/** Why a sample is bad or a write was not done; more may come: keep a default. */
typedef enum kvlink_reason {
    KVLINK_REASON_NONE = 0,
    KVLINK_REASON_NO_LINK = 1,
    KVLINK_REASON_NO_ANSWER = 2,
    KVLINK_REASON_CORRUPTED = 3,         /**< the answer does not have the shape that the request calls for */
    KVLINK_REASON_PLC_ERROR = 4,         /**< see plc_error */
    KVLINK_REASON_OUT_OF_RANGE = 5,      /**< the place lies past the end of the device */
    KVLINK_REASON_NOT_REPRESENTABLE = 6, /**< NaN or infinity, a text that its encoding does not know */
    KVLINK_REASON_OFFLINE = 7,           /**< from here on writes only: no link, and it did not want to wait */
    KVLINK_REASON_EXPIRED = 8,
    KVLINK_REASON_CANCELLED = 9,
    KVLINK_REASON_REPLACED = 10,      /**< a newer value of the same tag took its place before it was sent */
    KVLINK_REASON_NOT_PERMITTED = 11, /**< the tag is read-only, or its device cannot be written */
    KVLINK_REASON_INVALID_VALUE = 12, /**< the value does not fit the tag */
    KVLINK_REASON_LINK_LOST = 13,     /**< sent, then the link was lost */
    KVLINK_REASON_PARTLY_DONE = 14,   /**< several requests were needed, and a later one was not confirmed */
    KVLINK_REASON_STOPPED = 15,
    KVLINK_REASON_QUEUE_FULL = 16
} kvlink_reason;

typedef enum kvlink_type {
    KVLINK_NOTHING = 0,
    KVLINK_BOOL = 1, /**< integer is 0 or 1 */
    KVLINK_INT = 2,
    KVLINK_REAL = 3, /**< floats, and whatever has a scale: integer is 0 */
    KVLINK_TEXT = 4  /**< integer is 0, real is NaN */
} kvlink_type;

typedef struct kvlink_scalar {
    int32_t type; /**< kvlink_type */
    int32_t reserved;
    int64_t integer;
    double real;      /**< of BOOL and INT too; NaN of NOTHING and TEXT */
    const char *text; /**< of TEXT; empty otherwise */
} kvlink_scalar;

typedef struct kvlink_sample {
    int32_t quality;             /**< kvlink_quality */
    int32_t reason;              /**< kvlink_reason, with KVLINK_BAD */
    int32_t plc_error;           /**< with KVLINK_REASON_PLC_ERROR: 0 for "E0", 1 for "E1", ... */
    int32_t count;               /**< scalars in values: 0 before the first read, 10 of "DM100:10" */
    double time;                 /**< time of day when the answer that brought it was complete */
    double steady;               /**< the same moment on CLOCK_MONOTONIC */
    const kvlink_scalar *values; /**< the last good ones; NULL with count 0 */
    const char *text;            /**< all values for people: "1,2,3" */
    const char *problem;         /**< why it is bad, for people: "no link"; empty otherwise */
} kvlink_sample;

/** The newest sample; KVLINK_NEVER before the first read. KVLINK_ENOTAG. */
KVLINK_C_API int kvlink_sample_of(kvlink_sample *out, kvlink_plc *plc, kvlink_tag tag);

/** Reads tags now, whatever their period. Returns an id; a KVLINK_EVENT_READ with it follows when
 * each has been read or is bad. */
KVLINK_C_API int64_t kvlink_read_now(kvlink_plc *plc, const kvlink_tag *tags, size_t count);

/** Waits for the link, reads tags now, and waits until each has been read or is bad; no event
 * follows. KVLINK_ETIMEOUT: not within longest. KVLINK_ESTOPPED, KVLINK_ENOTAG. */
KVLINK_C_API int kvlink_read_wait(kvlink_plc *plc, const kvlink_tag *tags, size_t count, double longest);

/** "never", "good", "stale", "bad", "pending". */
KVLINK_C_API const char *kvlink_quality_name(int quality);
/** "no link", "no answer", ... */
KVLINK_C_API const char *kvlink_reason_text(int reason);

/* --- writes ----------------------------------------------------------------------------------- */

typedef enum kvlink_outcome {
    KVLINK_DONE = 0,     /**< confirmed by the PLC */
    KVLINK_REFUSED = 1,  /**< the PLC answered an error code; nothing was changed */
    KVLINK_NOT_SENT = 2, /**< never left this host */
    KVLINK_UNKNOWN = 3   /**< sent, not confirmed: it may have been carried out */
} kvlink_outcome;

typedef enum kvlink_write_flags {
    KVLINK_WRITE_COALESCE = 1,  /**< replaces an unsent older write of the same tag, which ends as replaced */
    KVLINK_WRITE_WAIT_LINK = 2, /**< waits for the link, until it expires; else it ends at once as offline */
    KVLINK_WRITE_AWAITED = 4    /**< its end is no event: kvlink_write_wait() takes it, and must */
} kvlink_write_flags;

typedef struct kvlink_write_options {
    uint32_t version;
    uint32_t flags;   /**< kvlink_write_flags, or-ed */
    double expires;   /**< not sent after this time; above 0, up to 86400 */
    int32_t attempts; /**< 1 to 10; always 1 for tags marked as commands */
    int32_t reserved; /**< 0 */
} kvlink_write_options;
#define KVLINK_WRITE_OPTIONS_INIT { 1, 0, 5.0, 2, 0 }
/** Fills in a record as its _INIT macro does. KVLINK_EINVAL: an unknown version. */
KVLINK_C_API int kvlink_write_options_init(kvlink_write_options *options, uint32_t version);

typedef struct kvlink_write_result {
    int64_t id;
    kvlink_tag tag;
    int32_t outcome;   /**< kvlink_outcome */
    int32_t reason;    /**< kvlink_reason */
    int32_t plc_error; /**< with KVLINK_REASON_PLC_ERROR */
    int32_t attempts;  /**< how often it was sent */
    int32_t reserved;
    double time;      /**< time of day when it ended */
    const char *text; /**< a whole sentence */
} kvlink_write_result;

/** Hands out a write and returns its id at once, as all calls of this group do. Accepted is not
 * done: a wrong tag, a value that does not fit, or options out of range end as not sent, invalid
 * value. Below 0 only for a NULL or a record of an unknown version. */
KVLINK_C_API int64_t kvlink_write_bool(kvlink_plc *plc, kvlink_tag tag, int on,
                                       const kvlink_write_options *options);
/** A whole number as it is shown: the scale of the tag is taken back. 0 or 1 for a bit. */
KVLINK_C_API int64_t kvlink_write_int(kvlink_plc *plc, kvlink_tag tag, int64_t value,
                                      const kvlink_write_options *options);
/** The same with decimals. */
KVLINK_C_API int64_t kvlink_write_real(kvlink_plc *plc, kvlink_tag tag, double value,
                                       const kvlink_write_options *options);
/** A text, of tags such as "DM10.STR:8". UTF-8; stored in the encoding of the link. */
KVLINK_C_API int64_t kvlink_write_text(kvlink_plc *plc, kvlink_tag tag, const char *text,
                                       const kvlink_write_options *options);
/** For tags of several places, such as "DM100:10": one value for each. */
KVLINK_C_API int64_t kvlink_write_ints(kvlink_plc *plc, kvlink_tag tag, const int64_t *values, size_t count,
                                       const kvlink_write_options *options);
/** The same with decimals. */
KVLINK_C_API int64_t kvlink_write_reals(kvlink_plc *plc, kvlink_tag tag, const double *values, size_t count,
                                        const kvlink_write_options *options);
/** As typed by a person: "5", "on", "0x1F", "1.5", "1,2,3". */
KVLINK_C_API int64_t kvlink_write_typed(kvlink_plc *plc, kvlink_tag tag, const char *typed,
                                        const kvlink_write_options *options);
/** Writes 1, and 0 after length (0.01 to 60). The 1 is sent once; the 0 is a release, as of
 * kvlink_press(). The write ends with the confirmation of the 0. flags: KVLINK_WRITE_AWAITED or
 * 0. */
KVLINK_C_API int64_t kvlink_pulse(kvlink_plc *plc, kvlink_tag relay, double length, uint32_t flags);

/** Waits for the end of a write with KVLINK_WRITE_AWAITED. KVLINK_ETIMEOUT: not within longest;
 * ask again. KVLINK_EINVAL: no such write is awaited. By itself a write ends when it expires or,
 * once sent, after a time-out for each attempt. */
KVLINK_C_API int kvlink_write_wait(kvlink_write_result *out, kvlink_plc *plc, int64_t id, double longest);

/** 1: cancelled, and it ends as not sent; 0: it has been sent or has ended already. */
KVLINK_C_API int kvlink_cancel(kvlink_plc *plc, int64_t id);
/** How many were cancelled. */
KVLINK_C_API int kvlink_cancel_all(kvlink_plc *plc);

/** A push button on a single relay or bit. A press writes 1 and returns an id; kvlink_release() writes
 * 0: never replaced, never expired, repeated until it is confirmed or the loss of the link has been
 * reported. Both together are one write, which ends with the release. KVLINK_EINVAL,
 * KVLINK_ENOTAG. */
KVLINK_C_API int64_t kvlink_press(kvlink_plc *plc, kvlink_tag relay);
/** The finger is still there. While pressed, call it more often than every 0.5 s, or the button releases
 * by itself. */
KVLINK_C_API int kvlink_renew(kvlink_plc *plc, int64_t press);
/** The finger is gone: writes 0. */
KVLINK_C_API int kvlink_release(kvlink_plc *plc, int64_t press);

/** "done", "refused", "not sent", "unknown". */
KVLINK_C_API const char *kvlink_outcome_name(int outcome);

/* --- events ----------------------------------------------------------------------------------- */

/** More may come: pass over what you do not know. */
typedef enum kvlink_event_type {
    KVLINK_EVENT_SAMPLE = 1,
    KVLINK_EVENT_WRITE = 2,
    KVLINK_EVENT_LINK = 3,
    KVLINK_EVENT_READ = 4
} kvlink_event_type;

typedef struct kvlink_event {
    int32_t type;              /**< kvlink_event_type: which of the following is set */
    kvlink_tag tag;            /**< SAMPLE, WRITE */
    int64_t id;                /**< WRITE, READ */
    kvlink_sample sample;      /**< SAMPLE */
    kvlink_write_result write; /**< WRITE */
    kvlink_link_status link;   /**< LINK */
    int64_t reserved[4];
} kvlink_event;

/** Watch *fd for reading and do nothing else with it: it stays readable while an event waits.
 * kvlink closes it. */
KVLINK_C_API int kvlink_poll(int *fd, kvlink_plc *plc);
/** 1: one event; 0: none waits. */
KVLINK_C_API int kvlink_next(kvlink_event *out, kvlink_plc *plc);
/** Waits for an event, for programs without a loop of their own. 1: one waits; 0: none within
 * longest. */
KVLINK_C_API int kvlink_wait(kvlink_plc *plc, double longest);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(readability-identifier-naming,modernize-use-using,modernize-deprecated-headers,cppcoreguidelines-macro-usage) */
#endif
