// check: is every line of a tag file and every address usable? Sends nothing.
#include "../app.h"
#include "../table.h"
#include "../tags_csv.h"

namespace kvhost
{

namespace
{

// The driver has a parser of its own; both must mean the same place.
bool driverAgrees(App *app, const Address &address)
{
    return app->session->calls().plcAddressChangeIntef(address.area, address.addressText) == address.number;
}

int checkFile(App *app, int *good)
{
    const TagFile file = readTagFile(app->options.tagFile);
    if (!file.problem.isEmpty()) {
        app->out.problem("kv-host: " + file.problem);
        return 1;
    }
    int bad = 0;
    for (const TagFault &fault : file.faults) {
        app->out.line(QStringLiteral("%1:%2: %3").arg(app->options.tagFile).arg(fault.line).arg(fault.why));
        ++bad;
    }
    for (const Variable &tag : file.tags) {
        if (driverAgrees(app, tag.address)) {
            ++*good;
            continue;
        }
        app->out.line(QStringLiteral("%1: the driver reads the address of '%2' otherwise")
                          .arg(app->options.tagFile, tag.name));
        ++bad;
    }
    return bad;
}

int checkWords(App *app, int *good)
{
    int bad = 0;
    for (const QString &word : app->options.words) {
        QString problem;
        const auto address = parseAddress(word, &problem);
        if (address && driverAgrees(app, *address)) {
            ++*good;
            continue;
        }
        app->out.line(address ? QStringLiteral("%1: the driver reads this address otherwise").arg(word)
                              : problem);
        ++bad;
    }
    return bad;
}

} // namespace

int runCheck(App *app)
{
    if (app->options.tagFile.isEmpty() && app->options.words.isEmpty()) {
        app->out.problem("kv-host: nothing to check: name a tag file with -f, or write some addresses");
        return EXIT_USAGE;
    }
    int good = 0;
    int bad = app->options.tagFile.isEmpty() ? 0 : checkFile(app, &good);
    bad += checkWords(app, &good);
    app->out.note(QStringLiteral("%1 good, %2 bad").arg(good).arg(bad));
    return bad == 0 ? EXIT_GOOD : EXIT_SOME_BAD;
}

} // namespace kvhost
