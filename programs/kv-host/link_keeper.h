// Keeps the links of all stations open, beside the exchanges: every link that is not ready is opened,
// greeted, waited silent or left alone for its back-off, whatever its watch says. Runs on the exchange
// thread.
#pragma once

#include "link.h"
#include "station_watch.h"

#include <functional>
#include <map>
#include <vector>

namespace kvhost
{

/// How a link is, for people and for exit codes.
struct LinkStatus {
    int station = 0;
    QString url;
    bool ready = false;
    Trouble trouble = Trouble::NoLink;
    QString reason;
    int reconnects = 0;
    int failures = 0; ///< since the last request that was answered
};

class LinkKeeper
{
public:
    struct Settings {
        Ms timeout{1000};
        std::function<void()> wake;
        std::function<void(const LinkStatus &)> changed; ///< ready or not any more, or another reason
        std::function<void(const QByteArray &)> discarded;
    };

    LinkKeeper(const std::vector<PlcTarget> &targets, Settings settings);

    /// Does what is due on every link.
    void serve(Time now);
    /// When serve() must be called again at the latest.
    Time nextDeadline() const;

    bool ready(int station) const;
    StationWatch *watch(int station);
    Link *link(int station);

    /// Throws away what lies in the receive buffer. \return what it was
    QByteArray empty(int station);

private:
    struct Kept {
        PlcTarget target;
        std::unique_ptr<Link> link;
        StationWatch watch;
        QByteArray greeting; ///< what has come of the answer to CR
        bool told = false;   ///< what changed() was told last
        int toldFailures = -1;
    };

    static StationWatch::Limits limitsFor(const PlcTarget &target, const Settings &settings,
                                          std::size_t links);
    void serve(Kept *kept, Time now);
    void notice(Kept *kept, Time now);
    void noticeGreeting(Kept *kept, Time now, const QByteArray &bytes);
    void act(Kept *kept, StationWatch::Action action);
    void tell(Kept *kept);

    Settings m_settings;
    std::map<int, Kept> m_kept;
};

} // namespace kvhost
