// SPDX-License-Identifier: MIT
// The screen: which tag is shown where, and what the operator may do. Everything else is
// in the widgets.
#pragma once

#include "widgets.h"

#include <kvlink/plc.h>

#include <QWidget>

#include <vector>

class QGridLayout;
class QLabel;
class MomentaryButton;

class Screen : public QWidget
{
public:
    /// \param plc not started yet; must live longer
    explicit Screen(kvlink::Plc &plc);

private:
    struct Binding {
        kvlink::Tag tag;
        Shown *widget;
    };

    void addLamps(QGridLayout &layout);
    void addNumbers(QGridLayout &layout);
    void addControls(QGridLayout &layout);
    void addTrend(QGridLayout &layout);
    /// A tag that \a widget shows from now on.
    kvlink::Tag bind(const kvlink::TagSettings &settings, Shown *widget);

    void showSample(kvlink::Tag tag, const kvlink::Sample &sample);
    void showLink(const kvlink::LinkStatus &status);
    void showResult(const kvlink::WriteResult &result);

    kvlink::Plc &m_plc;
    std::vector<Binding> m_bindings;
    Lamp *m_link;
    QLabel *m_result;
    SetPoint *m_speed = nullptr;
    MomentaryButton *m_jog = nullptr;
};
