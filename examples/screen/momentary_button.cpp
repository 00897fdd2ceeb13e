// SPDX-License-Identifier: MIT
#include "momentary_button.h"

#include <QEvent>

using namespace std::chrono_literals;

namespace
{
constexpr auto renewalPeriod = 200ms; // kvlink releases 0.5 s after the last renewal
}

MomentaryButton::MomentaryButton(const QString &caption, kvlink::Plc &plc, kvlink::Tag relay)
    : QPushButton(caption), m_relay(plc.momentary(relay))
{
    connect(this, &QPushButton::pressed, this, &MomentaryButton::press);
    connect(this, &QPushButton::released, this, &MomentaryButton::letGo);
    m_renewal.setInterval(renewalPeriod);
    connect(&m_renewal, &QTimer::timeout, this, [this] { m_relay->renew(); });
}

void MomentaryButton::press()
{
    if (!m_relay)
        return; // not a relay
    m_relay->press();
    m_renewal.start();
}

void MomentaryButton::letGo()
{
    m_renewal.stop();
    setDown(false);
    if (m_relay)
        m_relay->release();
}

// What Qt's button does not take for a release. It releases by itself when it is disabled.
bool MomentaryButton::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::FocusOut: // to a menu too, where Qt's button would stay down
    case QEvent::Hide:     // also when its window is closed
    case QEvent::WindowDeactivate:
    case QEvent::WindowBlocked: // a dialog is in front
    case QEvent::TouchCancel:
        letGo();
        break;
    default:
        break;
    }
    return QPushButton::event(event);
}
