// SPDX-License-Identifier: MIT
// examples/screen with hands on it, on a display that nobody sees: what it shows with and without
// its PLC, and that its button never stays pressed.
#include "momentary_button.h"
#include "screen.h"
#include "simulated_plc.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFocusEvent>
#include <QMouseEvent>
#include <QSlider>

using namespace std::chrono_literals;

namespace
{
constexpr qint64 patienceMs = 20000;

class ScreenTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        static int count = 1;
        static QByteArray name = "screen_test";
        static char *arguments[] = {name.data(), nullptr};
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("KV_DRIVER", KV_DRIVER_PATH);
        if (qApp == nullptr)
            new QApplication(count, arguments); // NOLINT: it lives as long as the process
    }

    ScreenTest() : link(plc.url()), screen(link)
    {
        screen.show();
        link.start();
    }

    // Events are handled meanwhile, as in a program that is well.
    static bool soon(const std::function<bool()> &isSo)
    {
        QElapsedTimer time;
        for (time.start(); time.elapsed() < patienceMs;) {
            QApplication::processEvents(QEventLoop::AllEvents, 10);
            if (isSo())
                return true;
        }
        return false;
    }

    template <typename Widget>
    Widget *the(int i = 0)
    {
        QList<Widget *> found;
        for (QWidget *widget : screen.findChildren<QWidget *>()) {
            if (auto *one = dynamic_cast<Widget *>(widget))
                found.append(one);
        }
        return found.value(i);
    }

    void mouse(QEvent::Type type)
    {
        auto *button = the<MomentaryButton>();
        const QPointF at = button->rect().center();
        const Qt::MouseButtons held = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
        QMouseEvent event(type, at, button->mapToGlobal(at.toPoint()), Qt::LeftButton, held, Qt::NoModifier);
        QApplication::sendEvent(button, &event);
    }

    void pressTheButton()
    {
        ASSERT_TRUE(soon([this] { return the<MomentaryButton>()->isEnabled(); }));
        mouse(QEvent::MouseButtonPress);
        ASSERT_TRUE(soon([this] { return isOn(); }));
    }

    bool isOn() { return plc.control("get R1000") == "1"; }

    SimulatedPlc plc;
    kvlink::Plc link;
    Screen screen;
};

TEST_F(ScreenTest, showsWhatThePlcHolds)
{
    plc.tell("set DM0=137");
    plc.tell("set DM12.S=-15");
    plc.tell("set R501=1");
    plc.tell("set DM105=8");
    EXPECT_TRUE(soon([this] { return the<Number>(0)->text() == "137"; }));
    EXPECT_TRUE(soon([this] { return the<Number>(2)->text() == QString::fromUtf8("-1.5 °C"); }));
    EXPECT_TRUE(soon([this] { return the<Lamp>(2)->state() == Lamp::On; }));
    EXPECT_EQ(the<Lamp>(1)->state(), Lamp::Off);
    EXPECT_TRUE(soon([this] { return the<BitSwitch>()->checkState() == Qt::Checked; }));
}

TEST_F(ScreenTest, nothingLooksCurrentWithoutThePlc)
{
    plc.tell("set R500=1");
    ASSERT_TRUE(soon([this] { return the<Lamp>(1)->state() == Lamp::On; }));
    plc.stop();
    ASSERT_TRUE(soon([this] { return the<Lamp>(0)->state() == Lamp::Alarm; }));
    EXPECT_TRUE(soon([this] { return the<Lamp>(1)->state() == Lamp::Unknown; }));
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(soon([this, i] { return the<Number>(i)->text() == "no link"; })) << i;
    EXPECT_EQ(the<BitSwitch>()->checkState(), Qt::PartiallyChecked);
    EXPECT_FALSE(the<BitSwitch>()->isEnabled());
    EXPECT_FALSE(the<QSlider>()->isEnabled());
    EXPECT_FALSE(the<MomentaryButton>()->isEnabled());
    plc.startAgain();
    EXPECT_TRUE(soon([this] { return the<Number>(0)->text() == "0"; }));
}

TEST_F(ScreenTest, theSliderWritesAndFollows)
{
    ASSERT_TRUE(soon([this] { return the<QSlider>()->isEnabled(); }));
    the<QSlider>()->setValue(42);
    EXPECT_TRUE(soon([this] { return plc.control("get DM200") == "00042"; }));
    EXPECT_TRUE(soon([this] { return the<Number>(3)->text() == "42"; }));
    plc.tell("set DM200=77");
    EXPECT_TRUE(soon([this] { return the<QSlider>()->value() == 77; }));
    // What lies beyond the slider is shown, and not written back as the slider's end.
    plc.tell("set DM200=900");
    EXPECT_TRUE(soon([this] { return the<Number>(3)->text() == "900"; }));
    EXPECT_EQ(plc.control("get DM200"), "00900");
}

TEST_F(ScreenTest, theSwitchShowsWhatThePlcHoldsAndChangesOneBit)
{
    plc.tell("set DM105=1");
    ASSERT_TRUE(soon([this] { return the<BitSwitch>()->checkState() == Qt::Unchecked; }));
    the<BitSwitch>()->click();
    EXPECT_EQ(the<BitSwitch>()->checkState(), Qt::Unchecked);
    EXPECT_TRUE(soon([this] { return the<BitSwitch>()->checkState() == Qt::Checked; }));
    EXPECT_EQ(plc.control("get DM105"), "00009");
}

TEST_F(ScreenTest, aScreenReaderWorksTheSwitchAsAClickDoes)
{
    plc.tell("set DM105=8");
    ASSERT_TRUE(soon([this] { return the<BitSwitch>()->checkState() == Qt::Checked; }));
    the<BitSwitch>()->toggle();
    EXPECT_EQ(the<BitSwitch>()->checkState(), Qt::Checked) << "the PLC holds it still";
    EXPECT_TRUE(soon([this] { return the<BitSwitch>()->checkState() == Qt::Unchecked; }));
    EXPECT_EQ(plc.control("get DM105"), "00000");
}

TEST_F(ScreenTest, aScreenReaderHearsTheLamps)
{
    plc.tell("set R501=1");
    EXPECT_TRUE(soon([this] { return the<Lamp>(2)->accessibleName() == "waiting, on"; }));
    EXPECT_EQ(the<Lamp>(1)->accessibleName(), "conveyor, off");
    plc.stop();
    EXPECT_TRUE(soon([this] { return the<Lamp>(2)->accessibleName() == "waiting, unknown"; }));
}

TEST_F(ScreenTest, theButtonStaysOnWhileItIsHeld)
{
    // Longer than kvlink's lease of 0.5 s. A machine that stalls for so long is given other tries.
    const auto isHeld = [this] {
        mouse(QEvent::MouseButtonPress);
        QElapsedTimer time;
        for (time.start(); time.elapsed() < 900;)
            QApplication::processEvents(QEventLoop::AllEvents, 10);
        const bool held = isOn();
        mouse(QEvent::MouseButtonRelease);
        return held;
    };
    ASSERT_TRUE(soon([this] { return the<MomentaryButton>()->isEnabled(); }));
    EXPECT_TRUE(isHeld() || isHeld() || isHeld());
    EXPECT_TRUE(soon([this] { return !isOn(); }));
}

TEST_F(ScreenTest, theButtonReleasesWhenTheProgramHangs)
{
    pressTheButton();
    QElapsedTimer time;
    time.start();
    while (isOn() && time.elapsed() < patienceMs) {
        // No event is handled.
    }
    EXPECT_FALSE(isOn());
}

struct Release {
    const char *name;
    void (*act)(Screen &screen, MomentaryButton &button);
};

void send(QWidget &widget, QEvent &&event)
{
    QApplication::sendEvent(&widget, &event);
}

// clang-format off
const Release releases[] = {
    {"mouseUp",         nullptr},
    {"focusLost",       [](Screen &, MomentaryButton &button) { send(button, QFocusEvent(QEvent::FocusOut)); }},
    {"menuOpened",      [](Screen &, MomentaryButton &button) {
                            send(button, QFocusEvent(QEvent::FocusOut, Qt::PopupFocusReason)); }},
    {"hidden",          [](Screen &, MomentaryButton &button) { button.hide(); }},
    {"screenHidden",    [](Screen &screen, MomentaryButton &) { screen.hide(); }},
    {"closed",          [](Screen &screen, MomentaryButton &) { screen.close(); }},
    {"disabled",        [](Screen &, MomentaryButton &button) { button.setEnabled(false); }},
    {"otherWindow",     [](Screen &screen, MomentaryButton &) { send(screen, QEvent(QEvent::WindowDeactivate)); }},
    {"dialogInFront",   [](Screen &, MomentaryButton &button) { send(button, QEvent(QEvent::WindowBlocked)); }},
    {"touchCancelled",  [](Screen &, MomentaryButton &button) { send(button, QEvent(QEvent::TouchCancel)); }},
};
// clang-format on

class TheButtonReleases : public ScreenTest, public testing::WithParamInterface<Release>
{
};

TEST_P(TheButtonReleases, when)
{
    pressTheButton();
    if (GetParam().act != nullptr)
        GetParam().act(screen, *the<MomentaryButton>());
    else
        mouse(QEvent::MouseButtonRelease);
    // Before the lease could have ended: the button itself has let go.
    EXPECT_FALSE(the<MomentaryButton>()->isDown());
    EXPECT_TRUE(soon([this] { return !isOn(); }));
}

INSTANTIATE_TEST_SUITE_P(Ways, TheButtonReleases, testing::ValuesIn(releases),
                         [](const auto &row) { return row.param.name; });

TEST_F(ScreenTest, theButtonReleasesWithTheScreen)
{
    ASSERT_TRUE(soon([this] { return the<MomentaryButton>()->isEnabled(); }));
    {
        Screen other(link);
        auto *button = other.findChild<QPushButton *>();
        button->setDown(true);
        emit button->pressed();
        ASSERT_TRUE(soon([this] { return isOn(); }));
    }
    EXPECT_TRUE(soon([this] { return !isOn(); }));
}
} // namespace
