// SPDX-License-Identifier: MIT
// The API: which request does what, who may send it, and in which thread it is answered.
//
// The thread of the server answers from the table of newest samples. What concerns links and writes
// goes to the thread of the plant, what reads a database to a worker.
#pragma once

#include "gate.h"
#include "metrics.h"
#include "server.h"
#include "worker.h"

#include "panel/assets.h"
#include "standby/duty.h"
#include "store/history_reader.h"
#include "store/journal_reader.h"

#include <atomic>

namespace kvgateway
{

/// What the API stands on; all of it outlives the API.
struct ApiParts {
    Plant &plant;
    Store &store;
    Access &access;
    Gate &gate;
    const Clock &clock;
    QString folder; ///< data folder
    /// In the thread of the plant. \return all problems; empty: the new configuration runs
    std::function<QStringList(const QString &who)> reload;
    /// In the thread of the plant.
    std::function<GatewayCounts()> counts;
    /// In the thread of the plant; without tags.
    std::function<const Config &()> config;
    /// Any thread. On duty, or why not.
    std::function<DutyStatus()> duty;
};

struct RouteName {
    QByteArray method;
    QString path; ///< "/api/v1/values/{tag}"
};

class Api
{
public:
    explicit Api(ApiParts parts);

    /// In the thread of the server.
    void handle(const Request &request, const std::shared_ptr<Reply> &reply);

    /// All of them, for the description and its test.
    static std::vector<RouteName> routes();

private:
    struct Call {
        Request request;
        Caller caller;
        std::shared_ptr<Reply> reply;
        QString rest; ///< of the path, where the route ends with {...}
    };
    using CallPtr = std::shared_ptr<Call>;
    using Handler = void (Api::*)(const CallPtr &call);
    struct Route;
    static const std::vector<Route> &table();

    static const Route *find(const Request &request, QString &rest, QStringList &otherMethods);
    /// \return false: the path is not of the panel
    bool answerPanel(const Request &request, const std::shared_ptr<Reply> &reply) const;
    void onPlant(std::function<void()> task);
    void onWorker(const CallPtr &call, std::function<void()> task);
    /// In the worker. \return nullptr, and the call is answered
    HistoryReader *history(const CallPtr &call);
    JournalReader *journal(const CallPtr &call);

    /// Whether somebody may write here. \return false, and the call is answered
    bool mayWrite(const CallPtr &call) const;

    // values
    void getTags(const CallPtr &call);
    void getValues(const CallPtr &call);
    void getValue(const CallPtr &call);
    void getStream(const CallPtr &call);
    // writes
    void postWrite(const CallPtr &call);
    void postButton(const CallPtr &call);
    void renewButton(const CallPtr &call);
    void releaseButton(const CallPtr &call);
    // history, events, audit
    void getHistory(const CallPtr &call);
    void getHistoryCsv(const CallPtr &call);
    void getEvents(const CallPtr &call);
    void getAudit(const CallPtr &call);
    // sessions
    void postLogin(const CallPtr &call);
    void postLogout(const CallPtr &call);
    void getMe(const CallPtr &call);
    // drawings
    void getPages(const CallPtr &call);
    void getPage(const CallPtr &call);
    // the service itself
    void getPlcs(const CallPtr &call);
    void getConfig(const CallPtr &call);
    void postReload(const CallPtr &call);
    void getMetrics(const CallPtr &call);
    void getHealth(const CallPtr &call);
    void getReady(const CallPtr &call);
    void getDescription(const CallPtr &call);

    ApiParts m_parts;
    const PanelAssets m_panel;
    std::unique_ptr<HistoryReader> m_history; ///< the worker's
    std::unique_ptr<JournalReader> m_journal; ///< the worker's
    Worker m_worker;                          ///< the last member: its tasks use the others
};

/// The description in OpenAPI 3, as JSON.
QByteArray apiDescription();

} // namespace kvgateway
