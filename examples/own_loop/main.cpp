// SPDX-License-Identifier: MIT
// Writes what has a "=", and shows the other places as they change. Use: own_loop
// 192.168.0.10:8501 DM100 DM200=5
#include "exchange_loop.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QStringList>

#include <atomic>
#include <cstdio>
#include <thread>
#include <utility>

using namespace std::chrono_literals;

namespace
{
const char *nameOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Done:
        return "done";
    case Outcome::Refused:
        return "refused";
    case Outcome::NotSent:
        return "not sent";
    case Outcome::Unknown:
        break;
    }
    return "unknown";
}

struct Wish {
    Place place;
    qint64 value;
};

// Prints a line for each change, until the program is ended.
[[noreturn]] void watch(const ExchangeLoop &loop, const std::vector<Place> &places)
{
    std::vector<QString> shown(places.size());
    while (true) {
        for (std::size_t i = 0; i < places.size(); ++i) {
            const Sample sample = loop.sample(places[i]);
            const QString text = sample.isGood ? QString::number(sample.value) : QString("not good");
            if (text != std::exchange(shown[i], text))
                std::printf("%s = %s\n", qPrintable(places[i].name), qPrintable(text));
        }
        std::fflush(stdout);
        std::this_thread::sleep_for(50ms);
    }
}
} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules("default.debug=false"); // the driver's debug lines
    const QStringList arguments = app.arguments().mid(1);
    const QStringList address = arguments.value(0).split(':');
    std::vector<Place> places;
    std::vector<Wish> wishes;
    for (const QString &argument : arguments.mid(1)) {
        const auto place = Place::parse(argument.section('=', 0, 0));
        if (!place) {
            std::fprintf(stderr, "'%s' is not an address such as DM100, DM100.S, DM100.D, DM100.5 or R500\n",
                         qPrintable(argument));
            return 2;
        }
        if (argument.contains('='))
            wishes.push_back({*place, argument.section('=', 1).toLongLong()});
        else
            places.push_back(*place);
    }
    if (address.size() != 2 || arguments.size() < 2) {
        std::fputs("Use: own_loop 192.168.0.10:8501 DM100 R500 DM200=5\n", stderr);
        return 2;
    }

    ExchangeLoop loop(address[0], address[1].toUShort());
    loop.show(places);
    loop.start();
    std::atomic<std::size_t> ended = 0;
    while (!wishes.empty() && !loop.isLinked())
        std::this_thread::sleep_for(50ms);
    for (const Wish &wish : wishes)
        loop.write(wish.place, wish.value,
                   [&ended, name = wish.place.name](Outcome outcome, const QString &why) {
                       std::printf("%s: %s, %s\n", qPrintable(name), nameOf(outcome), qPrintable(why));
                       ++ended;
                   });
    if (!places.empty())
        watch(loop, places);
    while (ended < wishes.size())
        std::this_thread::sleep_for(50ms);
}
