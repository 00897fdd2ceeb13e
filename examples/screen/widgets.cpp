// SPDX-License-Identifier: MIT
#include "widgets.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QSignalBlocker>
#include <QSlider>

using kvlink::Quality;
using kvlink::Sample;

namespace
{
constexpr int lampSize = 22; // pixels

// clang-format off
struct Frame {
    Quality quality;
    const char *style;
};
constexpr Frame frames[] = {
    {Quality::Never,   "border: 2px dotted #909090; color: #707070; background: #e4e4e4"},
    {Quality::Good,    "border: 2px solid #a0b8a0; color: #000000; background: #ffffff"},
    {Quality::Stale,   "border: 2px dashed #d09000; color: #805800; background: #fff4d8"},
    {Quality::Bad,     "border: 2px dashed #c02020; color: #a01010; background: #f6e0e0"},
    {Quality::Pending, "border: 2px solid #4080d0; color: #205090; background: #e8f0fc"},
};
struct Light {
    Lamp::State state;
    QRgb inside, rim;
    Qt::BrushStyle pattern;
    const char *word; // for screen readers
};
constexpr Light lights[] = {
    {Lamp::Unknown, 0xffa0a0a0, 0xff909090, Qt::BDiagPattern,  "unknown"},
    {Lamp::Off,     0xff465846, 0xff303830, Qt::SolidPattern, "off"},
    {Lamp::On,      0xff30d850, 0xff208038, Qt::SolidPattern, "on"},
    {Lamp::Alarm,   0xffe04030, 0xff902018, Qt::SolidPattern, "alarm"},
};
// clang-format on

QString styleOf(Quality quality)
{
    for (const Frame &frame : frames) {
        if (frame.quality == quality)
            return QString("padding: 2px 6px; border-radius: 3px; ") + frame.style;
    }
    return {};
}

// Why there is no value to show: "no link", "stale", "never".
QString whyNot(const Sample &sample)
{
    const QString reason = sample.reasonText();
    return reason.isEmpty() ? kvlink::qualityName(sample.quality) : reason;
}
} // namespace

// --- Lamp ----------------------------------------------------------------------------------------

Lamp::Lamp(const QString &caption) : m_caption(caption) {}

void Lamp::show(const Sample &sample)
{
    State state = Unknown;
    if (sample.isGood())
        state = sample.toBool() ? On : Off;
    setToolTip(sample.isGood() ? QString() : whyNot(sample));
    show(state, m_caption);
}

void Lamp::show(State state, const QString &caption)
{
    m_state = state;
    m_caption = caption;
    for (const Light &light : lights) {
        if (light.state == state)
            setAccessibleName(caption + ", " + light.word);
    }
    update();
}

QSize Lamp::sizeHint() const
{
    return {lampSize + 10 + fontMetrics().horizontalAdvance(m_caption), lampSize + 6};
}

void Lamp::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Light &light : lights) {
        if (light.state != m_state)
            continue;
        painter.setPen(QPen(QColor(light.rim), 2, m_state == Unknown ? Qt::DashLine : Qt::SolidLine));
        painter.setBrush(QBrush(QColor(light.inside), light.pattern));
    }
    painter.drawEllipse(2, (height() - lampSize) / 2, lampSize, lampSize);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(rect().adjusted(lampSize + 10, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, m_caption);
}

// --- Number --------------------------------------------------------------------------------------

Number::Number(const QString &unit) : m_unit(unit.isEmpty() ? QString() : " " + unit)
{
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    setMinimumWidth(fontMetrics().horizontalAdvance("no answer within") + 20);
}

void Number::show(const Sample &sample)
{
    const bool isShown = sample.isGood() || sample.quality == Quality::Pending;
    setText(isShown ? sample.toText() + m_unit : whyNot(sample));
    setStyleSheet(styleOf(sample.quality));
}

// --- SetPoint ------------------------------------------------------------------------------------

SetPoint::SetPoint(kvlink::Plc &plc, kvlink::Tag tag, int least, int most)
    : m_plc(plc), m_tag(tag), m_slider(new QSlider(Qt::Horizontal)), m_held(new Number({}))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_slider, 1);
    layout->addWidget(m_held);
    m_slider->setRange(least, most);
    connect(m_slider, &QSlider::valueChanged, this,
            [this](int value) { m_write = m_plc.write(m_tag, value, {.coalesce = true}); });
}

void SetPoint::show(const Sample &sample)
{
    m_held->show(sample);
    m_slider->setEnabled(sample.isGood() || sample.quality == Quality::Pending);
    // While the operator moves it, or a write is on its way, what the PLC holds is older.
    if (!sample.isGood() || m_slider->isSliderDown() || m_write != 0)
        return;
    const QSignalBlocker noWrite(m_slider);
    m_slider->setValue(int(sample.toInt()));
}

void SetPoint::finished(kvlink::WriteId id)
{
    if (id == m_write)
        m_write = 0;
}

// --- BitSwitch -----------------------------------------------------------------------------------

BitSwitch::BitSwitch(const QString &caption, kvlink::Plc &plc, kvlink::Tag bit)
    : QCheckBox(caption), m_plc(plc), m_bit(bit)
{
    // Without a click: a screen reader sets the mark itself.
    connect(this, &QCheckBox::toggled, this, &BitSwitch::ask);
}

void BitSwitch::show(const Sample &sample)
{
    setEnabled(sample.isGood());
    if (sample.isGood())
        mark(sample.toBool() ? Qt::Checked : Qt::Unchecked);
    else if (sample.quality != Quality::Pending)
        mark(Qt::PartiallyChecked); // neither on nor off
}

void BitSwitch::mark(Qt::CheckState state)
{
    m_held = state;
    const QSignalBlocker noWrite(this);
    setCheckState(state);
}

// The mark stays until the PLC holds the other state.
void BitSwitch::ask(bool on)
{
    mark(m_held);
    m_plc.write(m_bit, on);
}

void BitSwitch::nextCheckState()
{
    // On purpose: no change of the mark. It shows what the PLC holds, not what was asked for.
    ask(m_held != Qt::Checked);
}
