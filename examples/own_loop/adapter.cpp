// SPDX-License-Identifier: MIT
// The loop behind the line protocol of kv-conform: one JSON object a line on stdin and stdout.
#include "exchange_loop.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QUrl>

#include <atomic>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

using namespace std::chrono_literals;

namespace
{
void say(const QJsonObject &message)
{
    // One call for a whole line: several threads say something.
    std::puts(QJsonDocument(message).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

QString nameOf(Outcome outcome)
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

class Adapter
{
public:
    ~Adapter() { close(); }

    void take(const QJsonObject &ask)
    {
        const QString what = ask["do"].toString();
        QJsonObject answer{{"re", ask["id"]}};
        if (what == "hello") {
            answer["name"] = "own_loop";
            answer["version"] = "1";
            answer["offers"] = QJsonArray{"time"};
        } else if (what == "open") {
            open(QUrl(ask["url"].toString()));
        } else if (what == "watch") {
            watch(ask, answer);
        } else if (what == "write") {
            return write(ask, answer);
        } else if (what == "close") {
            close();
        } else {
            answer["error"] = "this host cannot " + what;
        }
        say(answer);
    }

private:
    struct Shown {
        Place place;
        Sample last;
    };

    void open(const QUrl &url)
    {
        m_loop = std::make_unique<ExchangeLoop>(url.host(), quint16(url.port()));
        m_loop->start();
        m_isOpen = true;
        m_teller = std::thread([this] { tell(); });
    }

    void watch(const QJsonObject &ask, QJsonObject &answer)
    {
        const auto place = Place::parse(ask["address"].toString());
        if (!place || !m_loop) {
            answer["error"] = "this host does not know " + ask["address"].toString();
            return;
        }
        const std::lock_guard lock(m_mutex);
        m_shown.push_back({*place, {}});
        std::vector<Place> places;
        for (const Shown &shown : m_shown)
            places.push_back(shown.place);
        m_loop->show(places);
    }

    void write(const QJsonObject &ask, QJsonObject answer)
    {
        const auto place = Place::parse(ask["address"].toString());
        if (!place || !m_loop) {
            answer["error"] = "this host does not know " + ask["address"].toString();
            return say(answer);
        }
        m_loop->write(*place, qint64(ask["value"].toDouble()),
                      [answer](Outcome outcome, const QString &why) mutable {
                          answer["outcome"] = nameOf(outcome);
                          answer["reason"] = why;
                          say(answer);
                      });
    }

    // A sample for each answer that came, and for each loss of one.
    void tell()
    {
        while (m_isOpen) {
            {
                const std::lock_guard lock(m_mutex);
                for (Shown &shown : m_shown) {
                    const Sample sample = m_loop->sample(shown.place);
                    if (sample.isGood == shown.last.isGood && sample.time == shown.last.time)
                        continue;
                    shown.last = sample;
                    const std::chrono::duration<double> time = sample.time.time_since_epoch();
                    say({{"event", "sample"},
                         {"address", shown.place.name},
                         {"value", sample.value},
                         {"quality", sample.isGood ? "good" : "bad"},
                         {"time", time.count()}});
                }
            }
            std::this_thread::sleep_for(20ms);
        }
    }

    void close()
    {
        m_isOpen = false;
        if (m_teller.joinable())
            m_teller.join();
        m_loop.reset();
        m_shown.clear();
    }

    std::unique_ptr<ExchangeLoop> m_loop;
    std::thread m_teller;
    std::atomic<bool> m_isOpen = false;
    std::mutex m_mutex; // of what is shown
    std::vector<Shown> m_shown;
};
} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules("default.debug=false"); // the driver's debug lines
    Adapter adapter;
    for (std::string line; std::getline(std::cin, line);)
        adapter.take(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
}
