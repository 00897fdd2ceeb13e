// SPDX-License-Identifier: MIT
// What shows a value: lamp, number, slider, switch. None of them shows a value that is not good as
// if it were.
#pragma once

#include <kvlink/plc.h>

#include <QCheckBox>
#include <QLabel>
#include <QWidget>

class QSlider;

/// What shows samples of a tag.
class Shown
{
public:
    virtual ~Shown() = default;
    /// Good, or anything else: each widget shows the difference.
    virtual void show(const kvlink::Sample &sample) = 0;
};

/// A round lamp with a caption. Without a good value it is hatched, neither on nor off.
class Lamp : public QWidget, public Shown
{
public:
    enum State { Unknown, Off, On, Alarm };

    explicit Lamp(const QString &caption);

    void show(const kvlink::Sample &sample) override;
    void show(State state, const QString &caption);
    using QWidget::show;
    State state() const { return m_state; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    State m_state = Unknown;
    QString m_caption;
};

/// A number in a frame that tells its quality. What is not good shows why in place of its value.
class Number : public QLabel, public Shown
{
public:
    explicit Number(const QString &unit);

    void show(const kvlink::Sample &sample) override;
    using QWidget::show;

private:
    QString m_unit; ///< with the space before it
};

/// A slider that writes while it is moved, and follows the PLC otherwise.
class SetPoint : public QWidget, public Shown
{
public:
    SetPoint(kvlink::Plc &plc, kvlink::Tag tag, int least, int most);

    void show(const kvlink::Sample &sample) override;
    using QWidget::show;
    /// A write has ended; of another tag it does nothing.
    void finished(kvlink::WriteId id);

private:
    kvlink::Plc &m_plc;
    kvlink::Tag m_tag;
    kvlink::WriteId m_write = 0; ///< the newest that has not ended; 0: none
    QSlider *m_slider;
    Number *m_held; ///< what the PLC holds
};

/// A bit of the PLC. A click asks for the other state; the mark changes when the PLC holds it.
class BitSwitch : public QCheckBox, public Shown
{
public:
    BitSwitch(const QString &caption, kvlink::Plc &plc, kvlink::Tag bit);

    void show(const kvlink::Sample &sample) override;
    using QWidget::show;

protected:
    void nextCheckState() override;

private:
    void mark(Qt::CheckState state);
    void ask(bool on);

    kvlink::Plc &m_plc;
    kvlink::Tag m_bit;
    Qt::CheckState m_held = Qt::PartiallyChecked; ///< what the PLC holds
};
