// SPDX-License-Identifier: MIT
// The plant: all PLCs of a configuration, kept in sight.
//
// A plant lives in one thread with an event loop. Only table() may be called from others; they hand
// what they want to this thread.
#pragma once

#include "plant_observer.h"
#include "plc_link.h"

#include <QObject>

#include <map>
#include <memory>

namespace kvgateway
{

/// A button that is held down by a client: renewed more often than every 0.5 s, or it
/// releases by itself.
using ButtonId = quint64; ///< above 0

class Plant : public QObject
{
public:
    /// \param observer outlives the plant
    explicit Plant(PlantObserver &observer);
    ~Plant() override;

    /// Makes the plant what \a config says: links whose settings stay are not dropped, nor are
    /// their samples. All or nothing.
    /// \return false with a problem, and nothing was changed
    bool apply(const Config &config, QString &problem);
    /// Values of an earlier run, before the first apply().
    void setLastSamples(QHash<QString, kvlink::Sample> samples) { m_lastSamples = std::move(samples); }
    /// Ends all links, within 0.6 s however many there are.
    void stop();

    /// Any thread. Replaced by apply(): its readers see that the old one is closed.
    std::shared_ptr<LiveTable> table() const;
    /// nullptr: there is no such PLC
    const kvlink::Plc *plc(int index) const;
    /// What the PLC says of itself; empty if there is none.
    PlcIdentity identity(int index, kvlink::SteadyTime now) const;

    /// \param end called exactly once, perhaps before this returns
    void write(const WriteOrder &order, const WriteEnd &end);
    /// \param end called when the button is released again, or was not pressed
    /// \return 0: not pressed
    ButtonId press(const WriteOrder &order, const WriteEnd &end);
    /// \param who presses it. \return false: it is released already, or somebody else's
    bool renew(ButtonId button, const QString &who);
    bool release(ButtonId button, const QString &who);
    /// How a press ended, of the last 100 that did.
    /// \return none: it has not ended, is older, or is somebody else's
    std::optional<WriteReport> endOf(ButtonId button, const QString &who) const;

private:
    struct Button {
        std::unique_ptr<kvlink::Momentary> momentary;
        QString who;
    };
    struct OpenWrite {
        WriteReport report;
        WriteEnd end;
        ButtonId button = 0;
    };
    using WriteKey = std::pair<const PlcLink *, kvlink::WriteId>;

    using Links = std::vector<std::shared_ptr<PlcLink>>;

    std::shared_ptr<PlcLink> sameLink(const PlcConfig &config) const;
    /// Kept links prepared, new ones built. \return none with a problem, and nothing was changed
    std::optional<Links> buildLinks(const Config &config, QString &problem);
    void watch(PlcLink &link);
    void replaceTable(const Links &oldLinks, const Config &config);
    kvlink::Sample knownSample(const PlcLink &link, const Links &oldLinks, const TagConfig &tag) const;
    void onChanged(const PlcLink &link, kvlink::Tag tag, const kvlink::Sample &sample);
    void onLink(const PlcLink &link, const kvlink::LinkStatus &status);
    void onWritten(PlcLink &link, const kvlink::WriteResult &result);
    void retire(const std::shared_ptr<PlcLink> &link);
    void forget(const PlcLink *link);
    /// Waits for the stop of a link that goes; its open writes end.
    void finishStop(PlcLink &link);
    /// Checks an order and has it recorded. \param link, tag where it goes
    /// \return none: it has ended
    std::optional<OpenWrite> begin(const WriteOrder &order, const WriteEnd &end, bool isPress, PlcLink *&link,
                                   kvlink::Tag &tag);
    void finish(OpenWrite &write, kvlink::Outcome outcome, kvlink::Reason reason, const QString &text);

    PlantObserver &m_observer;
    Links m_links;              ///< in the order of the configuration
    Links m_retiring;           ///< on their way out
    mutable std::mutex m_mutex; ///< guards the pointer to the table alone
    std::shared_ptr<LiveTable> m_table;
    QHash<QString, kvlink::Sample> m_lastSamples;
    std::map<WriteKey, OpenWrite> m_writes;
    std::map<ButtonId, Button> m_buttons;
    std::map<ButtonId, WriteReport> m_endedButtons; ///< the last ones
    ButtonId m_lastButton = 0;
};

} // namespace kvgateway
