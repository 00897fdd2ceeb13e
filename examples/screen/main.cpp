// SPDX-License-Identifier: MIT
// A screen for one PLC. Use: screen tcp://192.168.0.10
#include "screen.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setStyle("fusion");
    if (app.arguments().size() != 2) {
        std::fputs("Use: screen tcp://192.168.0.10\n", stderr);
        return 2;
    }
    kvlink::Plc plc(app.arguments().at(1));
    if (!plc.problem().isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(plc.problem()));
        return 2;
    }
    Screen screen(plc);
    screen.show();
    plc.start();
    return QApplication::exec();
}
