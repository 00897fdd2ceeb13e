// SPDX-License-Identifier: MIT
// The lamp and the slider of docs/kvlink.md, on a screen that nobody
// sees: the lamp follows the PLC through a loss of the link, the slider reaches the PLC.
// NOLINTNEXTLINE(readability-identifier-naming): the name that is replaced
#define main lampAndSlider
#include "lamp_and_slider.cpp" // NOLINT: the example is a program, and this test runs it
#undef main

#include "simulated_plc.h"

#include <gtest/gtest.h>

#include <QTimer>

namespace
{
// One thing after the other: what is done, and what the lamp or the PLC must show then.
struct Step {
    std::function<void()> act;
    std::function<bool()> isSeen;
};

QWidget *screen()
{
    return QApplication::topLevelWidgets().value(0);
}

QString lampText()
{
    return screen()->findChild<QLabel *>()->text();
}

TEST(LampAndSlider, followThePlcAndReachIt)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("KV_DRIVER", KV_DRIVER_PATH);
    SimulatedPlc plc;
    plc.tell("set R500=1");

    const std::vector<Step> steps = {
        {[] {}, [] { return lampText() == QLatin1String("running"); }},
        {[&] { plc.tell("set R500=0"); }, [] { return lampText() == QLatin1String("stopped"); }},
        {[] { screen()->findChild<QSlider *>()->setValue(42); },
         [&] { return plc.tell("get DM200") == "ok 00042"; }},
        {[&] { plc.stop(); }, [] { return lampText() == QLatin1String("bad no link"); }},
        {[&] { plc.startAgain(); }, [] { return lampText() == QLatin1String("stopped"); }},
    };
    std::size_t step = 0;
    bool acted = false;
    QTimer hands;
    QObject::connect(&hands, &QTimer::timeout, [&] {
        if (!acted)
            steps[step].act();
        acted = true;
        if (!steps[step].isSeen())
            return;
        acted = false;
        if (++step == steps.size())
            QApplication::quit();
    });
    QTimer::singleShot(0, [&] { hands.start(10); });

    QByteArray name = "lamp_and_slider";
    QByteArray url = plc.url().toUtf8();
    char *arguments[] = {name.data(), url.data(), nullptr};
    EXPECT_EQ(lampAndSlider(2, arguments), 0);
    EXPECT_EQ(step, steps.size());
}
} // namespace
