// SPDX-License-Identifier: MIT
// Writes down what happens in the plant: history, audit, events, last values.
#pragma once

#include "outlets/outlets.h"
#include "plant/plant_observer.h"
#include "store/store.h"

#include <QSet>

namespace kvgateway
{

/// In the thread of the plant.
class Recorder : public PlantObserver
{
public:
    /// \param store outlives the recorder
    explicit Recorder(Store &store) : m_store(store) {}

    /// \param outlets get each change, too; nullptr: none
    void setOutlets(Outlets *outlets) { m_outlets = outlets; }
    void setHistoryKept(bool isKept) { m_isHistoryKept = isKept; }

    void sampleChanged(const TagConfig &tag, const kvlink::Sample &sample) override;
    void linkChanged(const QString &plc, const kvlink::LinkStatus &status) override;
    bool writeAsked(const WriteReport &report) override;
    void writeEnded(const WriteReport &report) override;
    void event(EventKind kind, const QString &text, const QString &cause = {}, const QString &plc = {},
               const QString &tag = {});

    /// Hands the rows that came since to the store; to be called every 50 ms.
    void giveHistory();
    /// Hands the values that changed since to the store; to be called now and then, and at the end.
    void giveLastValues();

private:
    void noteQuality(const TagConfig &tag, const kvlink::Sample &sample);

    Store &m_store;
    Outlets *m_outlets = nullptr;
    bool m_isHistoryKept = true;
    std::vector<HistoryRow> m_rows;
    QHash<QString, kvlink::Sample> m_lastSamples;
    QHash<QString, QString> m_linkTexts; ///< what was said last of each link
    QSet<QString> m_refusedTags;
};

} // namespace kvgateway
