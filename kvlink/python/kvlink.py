# SPDX-License-Identifier: MIT
"""Links to KV PLCs: read, write and watch values.

    import kvlink

    with kvlink.Plc("tcp://192.168.0.10") as plc:
        words = plc.read("DM100:10")           # list of int; what is not good raises, never a silent 0
        plc.write("DM200.S", -5, expires=2.0)  # returns when the PLC has confirmed it
        for change in plc.watch(["R500", "DM200.S"]):
            print(change.address, change.value, change.quality, change.time)

One file over the C library (libkvlink-qt5.so.0 or libkvlink-qt6.so.0), first that of its own prefix; KVLINK_LIBRARY names
another one.
Times are seconds. Every method may be called from any thread; close() comes last.
"""

from __future__ import annotations

import ctypes
import functools
import os
import threading
import time as _time
import weakref
from ctypes import (POINTER, Structure, byref, c_char_p, c_double, c_int, c_int32, c_int64, c_size_t,
                    c_uint32, c_uint64, c_void_p)
from dataclasses import dataclass
from datetime import datetime, timezone
from pathlib import Path
from typing import Any, Iterable, Iterator, List, Optional, Sequence, Union

__all__ = ["Plc", "Button", "Change", "Info", "LinkStatus", "Sample", "Value", "Watch", "KvlinkError",
           "AddressError", "DriverError", "NoLink", "BadValue", "WriteError", "Refused", "NotSent", "Unknown",
           "version"]

Scalar = Union[bool, int, float, str]
Value = Union[bool, int, float, str, List[Scalar]]

_VERSION = (0, 2)  # the library that this file was written for
_NAMES = ("libkvlink-qt5.so.0", "libkvlink-qt6.so.0")
_SLICE = 0.2       # longest wait inside the library: Ctrl+C is noticed in between


# --- errors ---------------------------------------------------------------------------------------

class KvlinkError(OSError):
    """Something did not work. errno is the library's own number, strerror a sentence."""


class AddressError(KvlinkError, ValueError):
    """The address of a PLC or of a tag is wrong; the text says how to write it."""


class DriverError(KvlinkError):
    """The driver library is missing or does not fit."""


class NoLink(KvlinkError, TimeoutError):
    """There is no link to the PLC, or no answer came in time."""


class BadValue(KvlinkError):
    """The PLC was asked, and there is no good value: see sample."""

    def __init__(self, address: str, sample: "Sample") -> None:
        super().__init__(0, f"{address} is {sample.quality}: {sample.problem or 'no value'}")
        self.address = address
        self.sample = sample


class WriteError(KvlinkError):
    """A write that was not confirmed. Catch one of the three below."""

    def __init__(self, id: int, outcome: str, reason: str, text: str) -> None:
        super().__init__(0, text)
        self.id = id
        self.outcome = outcome
        self.reason = reason


class Refused(WriteError):
    """The PLC answered an error code; nothing was changed."""


class NotSent(WriteError):
    """It never left this host."""


class Unknown(WriteError):
    """Sent, not confirmed: it may have been carried out. kvlink does not repeat it."""


# --- the C library: records, in the order of kvlink.h ---------------------------------------------

class _LinkSettings(Structure):
    _fields_ = [("version", c_uint32), ("open", c_int32), ("timeout", c_double), ("gap", c_double),
                ("max_block", c_int32), ("word_order", c_int32), ("text_encoding", c_int32),
                ("reserved", c_int32), ("driver", c_char_p)]


class _LinkStatus(Structure):
    _fields_ = [("state", c_int32), ("reserved", c_int32), ("since", c_double), ("next_try", c_double),
                ("problem", c_char_p)]


class _Statistics(Structure):
    _fields_ = [("version", c_uint32), ("reserved", c_uint32),
                ("requests", c_uint64), ("answers", c_uint64), ("no_answers", c_uint64),
                ("corrupted", c_uint64), ("plc_errors", c_uint64), ("repeats", c_uint64),
                ("stray_bytes", c_uint64),
                ("link_losses", c_uint64), ("connects", c_uint64), ("missed_passes", c_uint64),
                ("bytes_sent", c_uint64), ("bytes_received", c_uint64),
                ("writes_done", c_uint64), ("writes_refused", c_uint64), ("writes_not_sent", c_uint64),
                ("writes_unknown", c_uint64),
                ("answer_min", c_double), ("answer_median", c_double), ("answer_90", c_double),
                ("answer_99", c_double), ("answer_max", c_double)]


class _TagSettings(Structure):
    _fields_ = [("version", c_uint32), ("flags", c_uint32), ("period", c_double), ("scale", c_double),
                ("offset", c_double), ("deadband", c_double)]


class _Scalar(Structure):
    _fields_ = [("type", c_int32), ("reserved", c_int32), ("integer", c_int64), ("real", c_double),
                ("text", c_char_p)]


class _Sample(Structure):
    _fields_ = [("quality", c_int32), ("reason", c_int32), ("plc_error", c_int32), ("count", c_int32),
                ("time", c_double), ("steady", c_double), ("values", POINTER(_Scalar)), ("text", c_char_p),
                ("problem", c_char_p)]


class _WriteOptions(Structure):
    _fields_ = [("version", c_uint32), ("flags", c_uint32), ("expires", c_double), ("attempts", c_int32),
                ("reserved", c_int32)]


class _WriteResult(Structure):
    _fields_ = [("id", c_int64), ("tag", c_uint32), ("outcome", c_int32), ("reason", c_int32),
                ("plc_error", c_int32), ("attempts", c_int32), ("reserved", c_int32), ("time", c_double),
                ("text", c_char_p)]


class _Event(Structure):
    _fields_ = [("type", c_int32), ("tag", c_uint32), ("id", c_int64), ("sample", _Sample),
                ("write", _WriteResult), ("link", _LinkStatus), ("reserved", c_int64 * 4)]


# --- the C library: numbers -----------------------------------------------------------------------

KVLINK_EINVAL = -1
KVLINK_EADDRESS = -2
KVLINK_EDRIVER = -4
KVLINK_ETIMEOUT = -5
KVLINK_ESTOPPED = -8
KVLINK_TAG_READ_ONLY = 1
KVLINK_TAG_COMMAND = 2
KVLINK_GOOD = 1
KVLINK_REASON_NO_LINK = 1
KVLINK_REASON_NO_ANSWER = 2
KVLINK_BOOL = 1
KVLINK_INT = 2
KVLINK_REAL = 3
KVLINK_TEXT = 4
KVLINK_DONE = 0
KVLINK_REFUSED = 1
KVLINK_NOT_SENT = 2
KVLINK_UNKNOWN = 3
KVLINK_WRITE_COALESCE = 1
KVLINK_WRITE_WAIT_LINK = 2
KVLINK_WRITE_AWAITED = 4
KVLINK_EVENT_SAMPLE = 1
KVLINK_EVENT_WRITE = 2

_OPEN = {"cr": 0, "none": 1}
_WORD_ORDER = {"low first": 0, "high first": 1}
_ENCODING = {"utf-8": 0, "shift-jis": 1, "latin-1": 2}
_ERRORS = {KVLINK_EADDRESS: AddressError, KVLINK_EDRIVER: DriverError, KVLINK_ETIMEOUT: NoLink,
           KVLINK_ESTOPPED: NoLink}
_WRITE_ERRORS = {KVLINK_REFUSED: Refused, KVLINK_NOT_SENT: NotSent, KVLINK_UNKNOWN: Unknown}


# --- the C library: prototypes --------------------------------------------------------------------

def _bind(lib: ctypes.CDLL) -> ctypes.CDLL:
    """Gives every function the types of its C declaration, which is above it."""

    def bind(name: str, result: Any, *arguments: Any) -> None:
        function = getattr(lib, name)
        function.restype = result
        function.argtypes = list(arguments)

    plc = c_void_p
    tag = c_uint32

    # const char *kvlink_version(void);
    bind("kvlink_version", c_char_p)
    # int kvlink_require(int major, int minor);
    bind("kvlink_require", c_int, c_int, c_int)
    # const char *kvlink_last_error(void);
    bind("kvlink_last_error", c_char_p)
    # const char *kvlink_strerror(int error);
    bind("kvlink_strerror", c_char_p, c_int)
    # int kvlink_link_settings_init(kvlink_link_settings *settings, uint32_t version);
    bind("kvlink_link_settings_init", c_int, POINTER(_LinkSettings), c_uint32)
    # int kvlink_plc_new(kvlink_plc **out, const char *url, const kvlink_link_settings *settings);
    bind("kvlink_plc_new", c_int, POINTER(plc), c_char_p, POINTER(_LinkSettings))
    # void kvlink_plc_free(kvlink_plc *plc);
    bind("kvlink_plc_free", None, plc)
    # int kvlink_plc_start(kvlink_plc *plc);
    bind("kvlink_plc_start", c_int, plc)
    # int kvlink_plc_stop(kvlink_plc *plc);
    bind("kvlink_plc_stop", c_int, plc)
    # int kvlink_link(kvlink_link_status *out, kvlink_plc *plc);
    bind("kvlink_link", c_int, POINTER(_LinkStatus), plc)
    # int kvlink_link_wait(kvlink_plc *plc, double longest);
    bind("kvlink_link_wait", c_int, plc, c_double)
    # const char *kvlink_link_state_name(int state);
    bind("kvlink_link_state_name", c_char_p, c_int)
    # int kvlink_statistics_init(kvlink_statistics *statistics, uint32_t version);
    bind("kvlink_statistics_init", c_int, POINTER(_Statistics), c_uint32)
    # int kvlink_statistics_of(kvlink_statistics *out, kvlink_plc *plc);
    bind("kvlink_statistics_of", c_int, POINTER(_Statistics), plc)
    # int kvlink_query_wait(const char **answer, kvlink_plc *plc, const char *command,
    #                       double longest);
    bind("kvlink_query_wait", c_int, POINTER(c_char_p), plc, c_char_p, c_double)
    # int kvlink_tag_settings_init(kvlink_tag_settings *settings, uint32_t version);
    bind("kvlink_tag_settings_init", c_int, POINTER(_TagSettings), c_uint32)
    # int kvlink_tag_add(kvlink_tag *out, kvlink_plc *plc, const char *address,
    #                    const kvlink_tag_settings *settings);
    bind("kvlink_tag_add", c_int, POINTER(tag), plc, c_char_p, POINTER(_TagSettings))
    # int kvlink_tag_remove(kvlink_plc *plc, kvlink_tag tag);
    bind("kvlink_tag_remove", c_int, plc, tag)
    # int kvlink_tag_set_period(kvlink_plc *plc, kvlink_tag tag, double period);
    bind("kvlink_tag_set_period", c_int, plc, tag, c_double)
    # int kvlink_sample_of(kvlink_sample *out, kvlink_plc *plc, kvlink_tag tag);
    bind("kvlink_sample_of", c_int, POINTER(_Sample), plc, tag)
    # int64_t kvlink_read_now(kvlink_plc *plc, const kvlink_tag *tags, size_t count);
    bind("kvlink_read_now", c_int64, plc, POINTER(tag), c_size_t)
    # int kvlink_read_wait(kvlink_plc *plc, const kvlink_tag *tags, size_t count, double longest);
    bind("kvlink_read_wait", c_int, plc, POINTER(tag), c_size_t, c_double)
    # const char *kvlink_quality_name(int quality);
    bind("kvlink_quality_name", c_char_p, c_int)
    # const char *kvlink_reason_text(int reason);
    bind("kvlink_reason_text", c_char_p, c_int)
    # int kvlink_write_options_init(kvlink_write_options *options, uint32_t version);
    bind("kvlink_write_options_init", c_int, POINTER(_WriteOptions), c_uint32)
    # int64_t kvlink_write_bool(kvlink_plc *plc, kvlink_tag tag, int on,
    #                           const kvlink_write_options *options);
    bind("kvlink_write_bool", c_int64, plc, tag, c_int, POINTER(_WriteOptions))
    # int64_t kvlink_write_int(kvlink_plc *plc, kvlink_tag tag, int64_t value,
    #                          const kvlink_write_options *options);
    bind("kvlink_write_int", c_int64, plc, tag, c_int64, POINTER(_WriteOptions))
    # int64_t kvlink_write_real(kvlink_plc *plc, kvlink_tag tag, double value,
    #                           const kvlink_write_options *options);
    bind("kvlink_write_real", c_int64, plc, tag, c_double, POINTER(_WriteOptions))
    # int64_t kvlink_write_text(kvlink_plc *plc, kvlink_tag tag, const char *text,
    #                           const kvlink_write_options *options);
    bind("kvlink_write_text", c_int64, plc, tag, c_char_p, POINTER(_WriteOptions))
    # int64_t kvlink_write_ints(kvlink_plc *plc, kvlink_tag tag, const int64_t *values,
    #                           size_t count, const kvlink_write_options *options);
    bind("kvlink_write_ints", c_int64, plc, tag, POINTER(c_int64), c_size_t, POINTER(_WriteOptions))
    # int64_t kvlink_write_reals(kvlink_plc *plc, kvlink_tag tag, const double *values,
    #                            size_t count, const kvlink_write_options *options);
    bind("kvlink_write_reals", c_int64, plc, tag, POINTER(c_double), c_size_t, POINTER(_WriteOptions))
    # int64_t kvlink_write_typed(kvlink_plc *plc, kvlink_tag tag, const char *typed,
    #                            const kvlink_write_options *options);
    bind("kvlink_write_typed", c_int64, plc, tag, c_char_p, POINTER(_WriteOptions))
    # int64_t kvlink_pulse(kvlink_plc *plc, kvlink_tag relay, double length, uint32_t flags);
    bind("kvlink_pulse", c_int64, plc, tag, c_double, c_uint32)
    # int kvlink_write_wait(kvlink_write_result *out, kvlink_plc *plc, int64_t id, double longest);
    bind("kvlink_write_wait", c_int, POINTER(_WriteResult), plc, c_int64, c_double)
    # int kvlink_cancel(kvlink_plc *plc, int64_t id);
    bind("kvlink_cancel", c_int, plc, c_int64)
    # int kvlink_cancel_all(kvlink_plc *plc);
    bind("kvlink_cancel_all", c_int, plc)
    # int64_t kvlink_press(kvlink_plc *plc, kvlink_tag relay);
    bind("kvlink_press", c_int64, plc, tag)
    # int kvlink_renew(kvlink_plc *plc, int64_t press);
    bind("kvlink_renew", c_int, plc, c_int64)
    # int kvlink_release(kvlink_plc *plc, int64_t press);
    bind("kvlink_release", c_int, plc, c_int64)
    # const char *kvlink_outcome_name(int outcome);
    bind("kvlink_outcome_name", c_char_p, c_int)
    # int kvlink_poll(int *fd, kvlink_plc *plc);
    bind("kvlink_poll", c_int, POINTER(c_int), plc)
    # int kvlink_next(kvlink_event *out, kvlink_plc *plc);
    bind("kvlink_next", c_int, POINTER(_Event), plc)
    # int kvlink_wait(kvlink_plc *plc, double longest);
    bind("kvlink_wait", c_int, plc, c_double)
    return lib


def _of_own_prefix() -> List[str]:
    """Libraries that were installed together with this file, as PREFIX/share/kvlink/python/kvlink.py."""
    folder = Path(__file__).resolve().parent
    if folder.parts[-3:] != ("share", "kvlink", "python"):
        return []
    return [str(path) for name in _NAMES for pattern in ("lib*/", "lib*/*/")
            for path in sorted(folder.parents[2].glob(pattern + name))]


@functools.lru_cache(maxsize=None)
def _library() -> ctypes.CDLL:
    wanted = os.environ.get("KVLINK_LIBRARY")
    names = [wanted] if wanted else [*_of_own_prefix(), *_NAMES]
    problems = []
    for name in names:
        try:
            lib = _bind(ctypes.CDLL(name))
        except (OSError, AttributeError) as error:
            problems.append(str(error))
            continue
        if lib.kvlink_require(*_VERSION) < 0:
            raise DriverError(0, lib.kvlink_last_error().decode())
        return lib
    raise DriverError(0, "the kvlink library was not found; set KVLINK_LIBRARY to its path: " +
                      "; ".join(problems))


def _check(result: int) -> int:
    """The result of a call, or an exception with the library's number and sentence."""
    if result >= 0:
        return result
    raise _ERRORS.get(result, KvlinkError)(result, _library().kvlink_last_error().decode())


def version() -> str:
    """Of the library that was loaded: "0.2.0"."""
    return _library().kvlink_version().decode()


# --- what is handed out ---------------------------------------------------------------------------

@dataclass(frozen=True)
class Sample:
    """A value, how far it may be trusted, and the time of the answer that brought it."""
    value: Optional[Value]    # the last good one; None while there was none
    quality: str              # "never", "good", "stale", "bad", "pending"
    reason: str               # why it is bad: "no link"; empty otherwise
    time: Optional[datetime]  # UTC; None while there was no value
    problem: str              # for people: "the PLC answered E0"; empty otherwise

    @property
    def good(self) -> bool:
        return self.quality == "good"


@dataclass(frozen=True)
class Change(Sample):
    """A sample that watch() brought."""
    address: str = ""


@dataclass(frozen=True)
class LinkStatus:
    state: str    # "stopped", "resolving", "connecting", "greeting", "ready", "waiting"
    problem: str  # why the last attempt failed; empty while all is well
    since: datetime

    @property
    def ready(self) -> bool:
        return self.state == "ready"


@dataclass(frozen=True)
class Info:
    model: str    # as the PLC answers ?K: "57"
    running: bool
    error: str    # as the PLC answers ?E: "000"


def _text(given: str) -> bytes:
    """For a C call. ctypes would end the text at a byte 0 without a word."""
    if "\0" in given:
        raise ValueError(f"{given!r} contains a byte 0")
    return given.encode()


def _whole(given: int) -> int:
    """For a C call. ctypes would drop what does not fit 64 bits without a word."""
    if not -2**63 <= given < 2**63:
        raise ValueError(f"{given} does not fit 64 bits")
    return given


def _choice(table: dict, what: str, given: str) -> int:
    if given not in table:
        raise ValueError(f"{what} is {given!r}; it must be one of {', '.join(map(repr, table))}")
    return table[given]


def _moment(seconds: float) -> datetime:
    return datetime.fromtimestamp(seconds, timezone.utc)


def _scalar(given: _Scalar) -> Scalar:
    if given.type == KVLINK_BOOL:
        return given.integer != 0
    if given.type == KVLINK_INT:
        return given.integer
    if given.type == KVLINK_REAL:
        return given.real
    return given.text.decode()


def _sample_fields(given: _Sample) -> dict:
    values = [_scalar(given.values[i]) for i in range(given.count)]
    value: Optional[Value] = values if given.count > 1 else next(iter(values), None)
    lib = _library()
    return {"value": value, "quality": lib.kvlink_quality_name(given.quality).decode(),
            "reason": lib.kvlink_reason_text(given.reason).decode() if given.reason else "",
            "time": _moment(given.time) if given.count else None, "problem": given.problem.decode()}


class Watch(Iterator[Change]):
    """Changes of some addresses, as Plc.watch() gives them; ends with its last reference, or by close()."""

    def __init__(self, plc: "Plc", addresses: Sequence[str], period: float, deadband: float) -> None:
        self._plc = plc
        self._addresses: dict = {}  # tag: address
        self._changes: dict = {}    # tag: the newest change, in the order in which the tags changed
        try:
            with plc._events:  # another thread may take the first change before this one knows the tag
                plc._watches.add(self)
                for address in addresses:
                    self._addresses[plc._add(address, period=period, deadband=deadband).value] = address
        except KvlinkError:
            self.close()
            raise

    def __iter__(self) -> "Watch":
        return self

    def __next__(self) -> Change:
        while True:
            if not self._addresses:
                raise StopIteration
            change = self._plc._next_change(self)
            if change is not None:
                return change

    def close(self) -> None:
        addresses, self._addresses = self._addresses, {}
        self._plc._end_watch(self, addresses)

    def __del__(self) -> None:
        self.close()


# --- the link -------------------------------------------------------------------------------------

class Plc:
    """A link to one PLC.

    url        "tcp://192.168.0.10", "udp://plc1:8501", "serial:///dev/ttyUSB0?baud=9600&parity=even"
    connect    how long start() waits for the link; 0: it does not wait, and the link comes when it comes
    timeout    longest wait for an answer
    open       "cr", or "none" for a port that does not know CR
    word_order "low first" or "high first", of 32-bit values
    encoding   "utf-8", "shift-jis" or "latin-1", of texts
    """

    def __init__(self, url: str, *, connect: float = 5.0, timeout: float = 1.0, gap: float = 0.0,
                 max_block: int = 128, open: str = "cr", word_order: str = "low first",
                 encoding: str = "utf-8", driver: Optional[str] = None) -> None:
        self._plc = c_void_p()  # first: __del__ looks at it
        self._lib = _library()
        self._connect = connect
        self._tags: dict = {}  # address: tag, of read() and write()
        self._tags_lock = threading.Lock()
        self._watches: weakref.WeakSet = weakref.WeakSet()
        self._events = threading.Condition()  # guards the changes of all watches
        self._is_taking = False               # one thread at a time takes events, for all
        settings = _LinkSettings()
        _check(self._lib.kvlink_link_settings_init(byref(settings), 1))
        settings.timeout = timeout
        settings.gap = gap
        settings.max_block = max_block
        settings.open = _choice(_OPEN, "open", open)
        settings.word_order = _choice(_WORD_ORDER, "word_order", word_order)
        settings.text_encoding = _choice(_ENCODING, "encoding", encoding)
        settings.driver = os.fsencode(driver) if driver else None
        _check(self._lib.kvlink_plc_new(byref(self._plc), _text(url), byref(settings)))

    def __enter__(self) -> "Plc":
        try:
            self.start()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def start(self) -> None:
        """Starts the link, and waits for it as long as connect says.
        Raises NoLink; the link goes on trying then."""
        _check(self._lib.kvlink_plc_start(self._handle()))
        if self._connect > 0:
            self._wait_for_link(self._connect)

    def stop(self) -> None:
        """Ends the link within 0.5 s; start() begins again."""
        _check(self._lib.kvlink_plc_stop(self._handle()))

    def close(self) -> None:
        """Ends the link for good."""
        handle, self._plc = self._plc, c_void_p()
        if handle:
            self._lib.kvlink_plc_free(handle)

    @property
    def link(self) -> LinkStatus:
        status = _LinkStatus()
        _check(self._lib.kvlink_link(byref(status), self._handle()))
        return LinkStatus(self._lib.kvlink_link_state_name(status.state).decode(), status.problem.decode(),
                          _moment(status.since))

    @property
    def statistics(self) -> dict:
        """Counters by name: "requests", "answers", "answer_median", ... Times in seconds."""
        statistics = _Statistics()
        _check(self._lib.kvlink_statistics_init(byref(statistics), 1))
        _check(self._lib.kvlink_statistics_of(byref(statistics), self._handle()))
        return {name: getattr(statistics, name) for name, _ in _Statistics._fields_[2:]}

    def info(self, longest: float = 5.0) -> Info:
        """Model, RUN or PROGRAM, and error number of the PLC."""
        return Info(self._ask("?K", longest), self._ask("?M", longest) == "1", self._ask("?E", longest))

    # --- values ---

    def read(self, address: str, *, longest: float = 5.0) -> Value:
        """The value in the PLC now. One place gives bool, int, float or str; "DM100:10" gives a list.
        Raises NoLink or BadValue: what is returned is good."""
        tag = self._tag(address)
        self._wait_for_link(longest)
        end = _time.monotonic() + longest
        while True:
            left = max(0.0, end - _time.monotonic())
            _check(self._lib.kvlink_read_wait(self._handle(), byref(tag), 1, left))
            sample = self.sample(address)
            if sample.good and sample.value is not None:
                return sample.value
            if sample.quality != "pending":  # another thread has written it since: it is read again
                raise BadValue(address, sample)

    def sample(self, address: str) -> Sample:
        """The newest sample of an address that was read or is watched; asks nothing of the PLC."""
        sample = _Sample()
        _check(self._lib.kvlink_sample_of(byref(sample), self._handle(), self._tag(address)))
        return Sample(**_sample_fields(sample))

    def watch(self, addresses: Sequence[str], *, period: float = 0.5, deadband: float = 0.0) -> "Watch":
        """Every change of these addresses, for as long as the loop runs; leaving the loop ends the watch.
        A lost link is a change to bad. Who is slow sees the newest value of each address."""
        return Watch(self, addresses, period, deadband)

    # --- writes ---

    def write(self, address: str, value: Union[Value, Sequence[Scalar]], *, expires: float = 5.0,
              attempts: int = 2, coalesce: bool = False) -> None:
        """Writes and waits for the confirmation. Raises Refused, NotSent or Unknown otherwise.
        Waits for a link that is down, until the write expires."""
        tag = self._tag(address)
        options = self._options(expires, attempts, coalesce)
        self._finish(_check(self._hand_out(tag, value, options)))

    def pulse(self, address: str, length: float = 0.2, *, longest: float = 5.0) -> None:
        """Writes 1 and, after length (0.01 to 60), 0. Returns when the 0 is confirmed; raises Refused,
        NotSent or Unknown otherwise. longest is the longest wait for the link."""
        self._wait_for_link(longest)
        self._finish(_check(self._lib.kvlink_pulse(self._handle(), self._tag(address), length,
                                                   KVLINK_WRITE_AWAITED)))

    def button(self, address: str) -> "Button":
        """A push button on a single relay or bit."""
        return Button(self, self._tag(address))

    # --- inside ---

    def _handle(self) -> c_void_p:
        if not self._plc:
            raise KvlinkError(KVLINK_ESTOPPED, "this Plc was closed")
        return self._plc

    def _wait_for_link(self, longest: float) -> None:
        end = _time.monotonic() + longest
        while True:
            left = end - _time.monotonic()
            result = self._lib.kvlink_link_wait(self._handle(), max(0.0, min(left, _SLICE)))
            if result != KVLINK_ETIMEOUT or left <= _SLICE:
                _check(result)
                return

    def _ask(self, command: str, longest: float) -> str:
        answer = c_char_p()
        _check(self._lib.kvlink_query_wait(byref(answer), self._handle(), command.encode(), longest))
        return (answer.value or b"").decode()

    def _add(self, address: str, **given: float) -> c_uint32:
        tag = c_uint32()
        settings = _TagSettings()
        _check(self._lib.kvlink_tag_settings_init(byref(settings), 1))
        for name, value in given.items():
            setattr(settings, name, value)
        _check(self._lib.kvlink_tag_add(byref(tag), self._handle(), _text(address), byref(settings)))
        return tag

    def _tag(self, address: str) -> c_uint32:
        """The tag that read() and write() use for an address; it is read on demand only."""
        with self._tags_lock:
            if address not in self._tags:
                self._tags[address] = self._add(address, period=0.0)
            return self._tags[address]

    def _options(self, expires: float, attempts: int, coalesce: bool) -> _WriteOptions:
        options = _WriteOptions()
        _check(self._lib.kvlink_write_options_init(byref(options), 1))
        options.expires = expires
        options.attempts = attempts
        options.flags = KVLINK_WRITE_AWAITED | KVLINK_WRITE_WAIT_LINK
        if coalesce:
            options.flags |= KVLINK_WRITE_COALESCE
        return options

    def _hand_out(self, tag: c_uint32, value: Any, options: _WriteOptions) -> int:
        plc = self._handle()
        if isinstance(value, bool):
            return self._lib.kvlink_write_bool(plc, tag, value, byref(options))
        if isinstance(value, int):
            return self._lib.kvlink_write_int(plc, tag, _whole(value), byref(options))
        if isinstance(value, float):
            return self._lib.kvlink_write_real(plc, tag, value, byref(options))
        if isinstance(value, str):
            return self._lib.kvlink_write_text(plc, tag, _text(value), byref(options))
        values = list(value)
        count = len(values)
        if all(isinstance(one, int) for one in values):
            values = [_whole(one) for one in values]
            return self._lib.kvlink_write_ints(plc, tag, (c_int64 * count)(*values), count, byref(options))
        return self._lib.kvlink_write_reals(plc, tag, (c_double * count)(*values), count, byref(options))

    def _finish(self, id: int) -> None:
        """Waits for the end of a write."""
        result = _WriteResult()
        ended = KVLINK_ETIMEOUT
        try:
            while ended == KVLINK_ETIMEOUT:
                ended = self._lib.kvlink_write_wait(byref(result), self._handle(), id, _SLICE)
        except BaseException:  # Ctrl+C: what was not sent yet never will be
            if self._plc:
                self._lib.kvlink_cancel(self._plc, id)
            raise
        _check(ended)
        if result.outcome == KVLINK_DONE:
            return
        raise _WRITE_ERRORS.get(result.outcome, WriteError)(
            id, self._lib.kvlink_outcome_name(result.outcome).decode(),
            self._lib.kvlink_reason_text(result.reason).decode(), result.text.decode())

    def _next_change(self, watch: Watch) -> Optional[Change]:
        """The next change of a watch, after a little wait at most. Whoever waits takes the events of all
        watches; the others wait for it."""
        with self._events:
            if not watch._changes and self._is_taking:
                self._events.wait(_SLICE)
            if watch._changes:
                return watch._changes.pop(next(iter(watch._changes)))
            if self._is_taking:
                return None
            self._is_taking = True
        try:
            self._take_events()
        finally:
            with self._events:
                self._is_taking = False
                self._events.notify_all()
        return None

    def _take_events(self) -> None:
        """Waits a little for events, and gives each to its watch."""
        if not _check(self._lib.kvlink_wait(self._handle(), _SLICE)):
            return
        event = _Event()
        while _check(self._lib.kvlink_next(byref(event), self._handle())) == 1:
            if event.type == KVLINK_EVENT_SAMPLE:
                with self._events:
                    self._give_out(event)

    def _give_out(self, event: _Event) -> None:
        for watch in list(self._watches):
            address = watch._addresses.get(event.tag)
            if address is not None:
                watch._changes[event.tag] = Change(address=address, **_sample_fields(event.sample))

    def _end_watch(self, watch: Watch, tags: Iterable[int]) -> None:
        for tag in tags:
            if self._plc:
                self._lib.kvlink_tag_remove(self._plc, tag)


class Button:
    """A push button: press writes 1, release writes 0. Renew it more often than every 0.5 s while it is
    pressed, or it releases by itself.

        with plc.button("R500") as button:    # pressed
            while working():
                button.renew()
    """

    def __init__(self, plc: Plc, tag: c_uint32) -> None:
        self._owner = plc
        self._tag = tag
        self._press = 0

    def press(self) -> None:
        if self._press == 0:
            self._press = _check(_library().kvlink_press(self._owner._handle(), self._tag))

    def renew(self) -> None:
        if self._press != 0:
            _check(_library().kvlink_renew(self._owner._handle(), self._press))

    def release(self) -> None:
        press, self._press = self._press, 0
        if press != 0:
            _check(_library().kvlink_release(self._owner._handle(), press))

    def __enter__(self) -> "Button":
        self.press()
        return self

    def __exit__(self, *_: object) -> None:
        self.release()
