// SPDX-License-Identifier: MIT
#include "screen.h"

#include "momentary_button.h"
#include "trend.h"

#include <QDateTime>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>

using kvlink::Plc;
using namespace std::chrono_literals;

namespace
{
constexpr kvlink::Duration fast = 100ms; // period of what moves

// A titled box in a cell of the screen, and the layout inside it.
QGridLayout *box(QGridLayout &layout, const QString &title, int row, int column, int columns = 1)
{
    auto *group = new QGroupBox(title);
    layout.addWidget(group, row, column, 1, columns);
    return new QGridLayout(group);
}
} // namespace

Screen::Screen(Plc &plc) : m_plc(plc), m_link(new Lamp("link")), m_result(new QLabel)
{
    setWindowTitle("Filling line");
    auto *layout = new QGridLayout(this);
    layout->addWidget(m_link, 0, 0, 1, 3);
    addLamps(*layout);
    addNumbers(*layout);
    addControls(*layout);
    addTrend(*layout);
    layout->addWidget(m_result, 3, 0, 1, 3);
    layout->setRowStretch(2, 1);
    layout->setColumnStretch(1, 1);
    layout->setColumnStretch(2, 1);

    // From this moment on nothing looks current until the PLC has answered.
    for (const Binding &binding : m_bindings)
        binding.widget->show(kvlink::Sample());
    showLink(plc.link());
    connect(&plc, &Plc::changed, this, &Screen::showSample);
    connect(&plc, &Plc::linkChanged, this, &Screen::showLink);
    connect(&plc, &Plc::writeFinished, this, &Screen::showResult);
}

void Screen::addLamps(QGridLayout &layout)
{
    struct Row {
        const char *address, *caption;
    };
    QGridLayout *lamps = box(layout, "Machine", 1, 0);
    for (const Row row : {Row{"R500", "conveyor"}, Row{"R501", "waiting"}, Row{"R1000", "jogging"}}) {
        auto *lamp = new Lamp(row.caption);
        bind({.address = row.address, .period = fast}, lamp);
        lamps->addWidget(lamp);
    }
}

void Screen::addNumbers(QGridLayout &layout)
{
    QGridLayout *numbers = box(layout, "Values", 1, 1);
    const kvlink::TagSettings rows[] = {
        {.address = "DM0", .name = "bottles", .period = fast},
        {.address = "DM10", .name = "level", .period = fast, .unit = "mm"},
        {.address = "DM12.S", .name = "temperature", .scale = 0.1, .unit = QString::fromUtf8("°C")},
    };
    for (const kvlink::TagSettings &row : rows) {
        auto *number = new Number(row.unit);
        bind(row, number);
        const int line = numbers->rowCount();
        numbers->addWidget(new QLabel(row.name), line, 0);
        numbers->addWidget(number, line, 1);
    }
    numbers->setColumnStretch(1, 1);
}

void Screen::addControls(QGridLayout &layout)
{
    QGridLayout *controls = box(layout, "Operate", 1, 2);
    const kvlink::Tag speed = m_plc.tag({.address = "DM200.S", .period = fast});
    m_speed = new SetPoint(m_plc, speed, 0, 500);
    m_bindings.push_back({speed, m_speed});
    controls->addWidget(new QLabel("speed"), 0, 0);
    controls->addWidget(m_speed, 0, 1);

    const kvlink::Tag night = m_plc.tag({.address = "DM105.3", .period = fast});
    auto *nightMode = new BitSwitch("night mode", m_plc, night);
    m_bindings.push_back({night, nightMode});
    controls->addWidget(nightMode, 1, 1);

    m_jog = new MomentaryButton("jog", m_plc, m_plc.tag("R1000"));
    controls->addWidget(m_jog, 2, 1);
    controls->setColumnStretch(1, 1);
}

void Screen::addTrend(QGridLayout &layout)
{
    auto *trend = new Trend(0.0, 1000.0, "mm");
    bind({.address = "DM10", .period = fast}, trend);
    box(layout, "Level, the last minute", 2, 0, 3)->addWidget(trend);
}

kvlink::Tag Screen::bind(const kvlink::TagSettings &settings, Shown *widget)
{
    const kvlink::Tag tag = m_plc.tag(settings);
    m_bindings.push_back({tag, widget});
    return tag;
}

void Screen::showSample(kvlink::Tag tag, const kvlink::Sample &sample)
{
    for (const Binding &binding : m_bindings) {
        if (binding.tag == tag)
            binding.widget->show(sample);
    }
}

void Screen::showLink(const kvlink::LinkStatus &status)
{
    const QString what = m_plc.settings().url + ": " + kvlink::linkStateName(status.state);
    m_link->show(status.isReady() ? Lamp::On : Lamp::Alarm,
                 status.problem.isEmpty() ? what : what + ", " + status.problem);
    m_jog->setEnabled(status.isReady());
}

void Screen::showResult(const kvlink::WriteResult &result)
{
    m_speed->finished(result.id);
    m_result->setText(QTime::currentTime().toString() + "  " + m_plc.tagSettings(result.tag).name + ": " +
                      kvlink::outcomeName(result.outcome) + ", " + result.text);
}
