// SPDX-License-Identifier: MIT
// Plc: a link to one PLC, the C++ face of kvlink.
//
//   kvlink::Plc plc("tcp://192.168.0.10");
//   auto run = plc.tag("R500"), speed = plc.tag("DM200.S");
//   QObject::connect(&plc, &kvlink::Plc::changed, [&](kvlink::Tag tag, kvlink::Sample sample) {
//       if (tag == run) lamp.set(sample.isGood() && sample.toBool());
//   });
//   QObject::connect(&slider, &QSlider::valueChanged,
//                    [&](int value) { plc.write(speed, value, {.coalesce = true}); });
//   plc.start();
//
// Each Plc has a thread, a private copy of the driver and a transport of its own: nothing that
// happens to one PLC is noticed at another. 256 of them fit one process.
//
// Threads. Every call may come from any thread, the constructor and the destructor included, but a
//          Plc is destroyed by one thread while no other uses it. Signals are emitted in the thread
//          that the Plc lives in (QObject::thread), from its event loop; without an event loop,
//          waitForChange emits them.
// Locks.   No lock of kvlink is held while a signal is emitted: a slot may call anything.
// Errors.  Nothing throws. What cannot work says so by problem(), by an invalid Tag with a text, or
//          by the outcome of a write.
#pragma once

#include "link.h"
#include "write.h"

#include <QObject>
#include <QStringList>

#include <atomic>
#include <memory>
#include <vector>

namespace kvlink
{

/// "0.2.0": the version of the library that was loaded.
KVLINK_API QString version();

/// Where the driver library is looked for when LinkSettings::driver is empty, in this order.
KVLINK_API QStringList driverPlaces();

class Momentary;
class PlcCore;

using ReadId = quint64; ///< above 0
using QueryId = quint64;

/// What Plc::query brought.
struct QueryResult {
    QueryId id = 0;
    bool answered = false; ///< also with an error code of the PLC: then the answer is "E0", "E1", ...
    QString answer;        ///< without its line end
    QString problem;       ///< when it was not answered
};

/// A link to one PLC. What holds for all of its calls stands at the top of this file.
class KVLINK_API Plc : public QObject
{
    Q_OBJECT

public:
    /// A link with the settings of LinkSettings but for its \a url. Nothing is sent before start().
    explicit Plc(const QString &url, QObject *parent = nullptr);
    /// The same with settings of your own; see problem() for what is wrong with them.
    explicit Plc(const LinkSettings &settings, QObject *parent = nullptr);
    ~Plc() override; ///< stops the link; takes at most 0.5 s

    /// What is wrong with the settings or the driver library, as a sentence; empty: all is well.
    QString problem() const;

    /// The problem is the driver library: missing, of another Qt, or without one of the calls.
    bool lacksDriver() const;

    /// The settings that the link was made with.
    LinkSettings settings() const;

    /// Starts the link; it is kept up until stop(), however often it is lost. False with a
    /// problem(). Starting twice does nothing.
    bool start();
    /// Ends the link within 0.5 s. Writes that wait end as NotSent, the one in flight as Unknown;
    /// their results can still be taken. Before that, buttons that are pressed are released and
    /// pulses ended, unless the PLC takes longer than 0.4 s to confirm it.
    void stop();

    // --- tags ------------------------------------------------------------------------------------

    /// A tag of this PLC. Invalid if the address is wrong; \a problem then says why and what
    /// to write in its place. Before start() or while the link runs. The same settings twice
    /// are two tags.
    Tag tag(const QString &address, QString *problem = nullptr);
    /// The same with a period, a scale and whatever else a tag may have.
    Tag tag(const TagSettings &settings, QString *problem = nullptr);
    /// Many tags at once: 100,000 take less than a second. One Tag for each, invalid where a
    /// problem is given.
    std::vector<Tag> addTags(const std::vector<TagSettings> &settings, QStringList *problems = nullptr);
    /// No further signals of this tag. Its unsent writes end as NotSent, Cancelled.
    void removeTag(Tag tag);
    /// \param period 0 (read on demand only) to 24 h; any other changes nothing
    void setPeriod(Tag tag, Duration period);
    /// What the tag was made with, its name filled in. As a new TagSettings for an unknown tag.
    TagSettings tagSettings(Tag tag) const;
    /// All that have not been removed, oldest first.
    std::vector<Tag> tags() const;

    // --- values ----------------------------------------------------------------------------------

    /// The latest sample; Quality::Never for an unknown tag. What signals showed last or newer.
    Sample sample(Tag tag) const;
    /// Reads tags now, whatever their period. readFinished follows when each has been read
    /// or is bad.
    ReadId readNow(const std::vector<Tag> &tags);
    /// Waits until something changed (samples, writes, link) and emits the signals, for programs
    /// without an event loop. In the thread of the Plc only.
    /// \param longest Duration::max(): forever
    /// \return false after \a longest without a change
    bool waitForChange(Duration longest);
    /// Reads tags now and waits for them: first for the link, then for the answers, together
    /// at most \a longest. readFinished is not emitted for it. Any thread, with or without
    /// an event loop.
    /// \return the samples in the order of the tags; what was not read in time is not good, or
    ///         shows its older time
    /// Example: const double level = plc.read({tank}, 2s).front().toDouble();
    std::vector<Sample> read(const std::vector<Tag> &tags, Duration longest);

    // --- writes ----------------------------------------------------------------------------------

    /// Hands out a write. Exactly one writeFinished with this id follows, at the latest when the
    /// link stops. A wrong value ends as NotSent, InvalidValue.
    /// Example: plc.write(speed, -5, {.coalesce = true});
    WriteId write(Tag tag, const Value &value, const WriteOptions &options = {});
    /// The value as typed: "5", "on", "0x1F", "1.5", "1,2,3" for three places.
    WriteId writeText(Tag tag, const QString &typed, const WriteOptions &options = {});
    /// Writes and waits for the end, however it ends; writeFinished is not emitted for this write.
    /// Any thread. Takes at most WriteOptions::expires and, once sent, a time-out for each attempt.
    /// Waits for the link only with WhenOffline::Wait.
    /// Example: plc.writeAndWait(speed, -5, {.whenOffline = WhenOffline::Wait}).outcome
    WriteResult writeAndWait(Tag tag, const Value &value, const WriteOptions &options = {});
    /// Writes 1, and 0 after \a length (10 ms to 60 s). One attempt each; the 0 is a release (see
    /// Momentary). The write ends with the confirmation of the 0.
    WriteId pulse(Tag relay, Duration length);
    /// False if it has been sent or has ended already.
    bool cancel(WriteId id);
    /// \return how many were cancelled
    int cancelAll();
    /// A push button on a relay or a bit of a word. Not for other tags: the pointer is then null.
    std::unique_ptr<Momentary> momentary(Tag relay);

    // --- link ------------------------------------------------------------------------------------

    /// The state of the link just now.
    LinkStatus link() const;
    /// Waits until the link is ready. False after \a longest, and at once if the link is
    /// stopped. Any thread.
    bool waitForLink(Duration longest) const;
    /// Counters of the link just now.
    LinkStatistics statistics() const;
    /// How the tags are read, and why so. Also before start().
    ReadPlan plan() const;
    /// The frames that a write of \a typed would send: {"WRS DM200.U 1 00005"}; a bit of a word is
    /// read first, and its other bits are shown as 0. Sends nothing. Only before start().
    /// \param problem set on failure only
    QStringList framesOfWrite(Tag tag, const QString &typed, QString *problem = nullptr);
    /// Asks the PLC for something about itself: "?K" (model), "?M" (RUN or PROGRAM),
    /// "?E" (error). Nothing that changes the PLC is sent: other commands fail with a
    /// problem. queryFinished follows.
    QueryId query(const QString &command);

signals:
    /// A tag has another value, quality or reason; with TagSettings::everySample, each answer.
    void changed(kvlink::Tag tag, kvlink::Sample sample);
    /// A write has ended: once for each id that a write call returned.
    void writeFinished(kvlink::WriteResult result);
    /// The link has another state.
    void linkChanged(kvlink::LinkStatus status);
    /// Each tag of readNow() has been read or is bad.
    void readFinished(kvlink::ReadId id);
    /// What query() asked for has been answered or has failed.
    void queryFinished(kvlink::QueryResult result);

private:
    void deliver();

    std::shared_ptr<PlcCore> m_core; ///< shared with its push buttons, which may outlive it
};

/// A push button: press writes 1, release writes 0. A release is never replaced, never expires, and
/// is repeated until it is confirmed or the loss of the link has been reported. A press that was
/// not sent takes its release with it. While pressed, renew() must be called more often than every
/// 0.5 s (a timer of the screen does): a screen that hangs releases. Destroying it releases. Any
/// thread. It may outlive its Plc and does nothing then.
class KVLINK_API Momentary
{
public:
    ~Momentary(); ///< releases
    Momentary(const Momentary &) = delete;
    Momentary &operator=(const Momentary &) = delete;

    /// Writes 1. Press and release together are one write.
    /// \return its id, which writeFinished names when the release has ended it; a button that is
    ///         pressed already stays so, with its id
    WriteId press();
    /// The finger is still there: call it more often than every 0.5 s while pressed.
    void renew();
    /// Writes 0. Nothing if the button is not pressed.
    void release();
    /// From press() until release(), also when it was released for want of renew() meanwhile.
    bool isPressed() const;

private:
    friend class Plc;
    Momentary(std::shared_ptr<PlcCore> core, Tag relay);

    std::shared_ptr<PlcCore> m_core;
    Tag m_relay;
    std::atomic<WriteId> m_press{0}; ///< 0: not pressed
};

} // namespace kvlink

Q_DECLARE_METATYPE(kvlink::QueryResult)
