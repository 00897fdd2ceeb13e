// SPDX-License-Identifier: MIT
// A button that is on only as long as a finger holds it. It can never stay pressed.
// It releases when the mouse, the key or the finger lets go, and whenever it could no longer notice
// that: it loses the focus, is hidden, closed, disabled, or covered by a dialog.
// While it is held, a timer renews the press. If this program hangs, the renewal stops, and kvlink
// releases after 0.5 s, in a thread of its own.
// A computer that stops altogether is the PLC's to notice: let its program watch a counter.
#pragma once

#include <kvlink/plc.h>

#include <QPushButton>
#include <QTimer>

#include <memory>

class MomentaryButton : public QPushButton
{
public:
    MomentaryButton(const QString &caption, kvlink::Plc &plc, kvlink::Tag relay);

protected:
    bool event(QEvent *event) override;

private:
    void press();
    void letGo();

    std::unique_ptr<kvlink::Momentary> m_relay; ///< its destructor releases too
    QTimer m_renewal;
};
