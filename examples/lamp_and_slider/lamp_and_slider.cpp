// SPDX-License-Identifier: MIT
// R500 lights the lamp, the slider sets DM200. Use: lamp_and_slider tcp://192.168.0.10
#include <kvlink/plc.h>

#include <QApplication>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QWidget screen;
    QLabel lamp(&screen);
    QSlider slider(Qt::Horizontal, &screen);
    QVBoxLayout layout(&screen);
    layout.addWidget(&lamp);
    layout.addWidget(&slider);

    kvlink::Plc plc(app.arguments().value(1));
    const kvlink::Tag run = plc.tag("R500"), speed = plc.tag("DM200.S");
    QObject::connect(&plc, &kvlink::Plc::changed, [&](kvlink::Tag tag, const kvlink::Sample &sample) {
        if (tag != run)
            return;
        lamp.setEnabled(sample.isGood());
        lamp.setText(sample.toBool() ? "running" : "stopped");
        if (!sample.isGood())
            lamp.setText(kvlink::qualityName(sample.quality) + " " + sample.reasonText());
    });
    QObject::connect(&slider, &QSlider::valueChanged,
                     [&](int value) { plc.write(speed, value, {.coalesce = true}); });
    plc.start();
    screen.show();
    return app.exec();
}
