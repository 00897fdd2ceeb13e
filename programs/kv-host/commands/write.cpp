// write: shows the old and the new values, asks, writes, and reads back what the PLC then holds.
#include "../app.h"
#include "../frame_preview.h"

#include <QSocketNotifier>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unistd.h>

namespace kvhost
{

namespace
{

struct Assignment {
    Variable variable;
    QByteArray data;
    QVector<Value> wanted;
    QVector<Value> old;
};

// Values of a tag with a scale are typed as they are shown.
bool unscale(const Variable &variable, QStringList *typed, QString *problem)
{
    if (!variable.scaled())
        return true;
    for (QString &text : *typed) {
        bool ok = false;
        const double raw = (text.toDouble(&ok) - variable.offset) / variable.scale;
        if (!ok) {
            *problem = QStringLiteral("'%1' is no number").arg(text);
            return false;
        }
        const bool real = variable.address.format == Format::Float;
        text = real ? QString::number(raw, 'g', 9) : QString::number(qint64(std::llround(raw)));
    }
    return true;
}

// Splits behind the '=' sign; several places with one value each, or a text with commas in it.
bool parseAssignment(const App &app, const QString &word, Assignment *assignment, QString *problem)
{
    const int equals = int(word.indexOf('='));
    if (equals < 1) {
        *problem = QStringLiteral("%1: an assignment is expected, as in DM100=5 or R1015=on").arg(word);
        return false;
    }
    const auto variable = variableFor(app, word.left(equals), problem);
    if (!variable)
        return false;
    assignment->variable = *variable;
    const Address &address = variable->address;
    const QString right = word.mid(equals + 1);
    QStringList typed = address.format == Format::Text ? QStringList{right} : right.split(',');
    if (typed.size() == 1 && address.values > 1) {
        *problem =
            QStringLiteral("%1: %2 values are expected, separated by commas").arg(word).arg(address.values);
        return false;
    }
    QString why;
    const auto data = unscale(*variable, &typed, &why) ? encodeValues(address, typed, app.options.order, &why)
                                                       : std::nullopt;
    if (!data) {
        *problem = QStringLiteral("%1: %2").arg(word, why);
        return false;
    }
    assignment->data = *data;
    assignment->wanted = decodeValues(address, *data, app.options.order);
    return true;
}

// What must not be written by accident, or cannot be written at all. Empty: go ahead.
QString guarded(const App &app, const Assignment &assignment)
{
    const Device &device = *assignment.variable.address.device;
    const QString name = assignment.variable.nameOf(0);
    if (assignment.variable.address.element == Element::Contact) {
        return QStringLiteral("%1 is a contact, which follows its timer or counter and cannot be written")
            .arg(name);
    }
    if (!assignment.variable.writable)
        return QStringLiteral("%1 is read-only in the tag file (column rw)").arg(name);
    const QString kind = QString::fromLatin1(device.name);
    if (!app.options.force && (kind == "CR" || kind == "CM"))
        return QStringLiteral("%1 belongs to the PLC's own control devices; --force writes it all the same")
            .arg(name);
    if (!app.options.force && kind == "AT")
        return QStringLiteral(
                   "%1 is a trimmer, which PLCs refuse to have written; --force tries all the same")
            .arg(name);
    return {};
}

bool parseAll(App *app, std::vector<Assignment> *assignments)
{
    bool good = true;
    for (const QString &word : app->options.words) {
        Assignment assignment;
        QString problem;
        if (parseAssignment(*app, word, &assignment, &problem)) {
            assignments->push_back(assignment);
        } else {
            app->out.problem("kv-host: " + problem);
            good = false;
        }
    }
    return good;
}

bool passGuard(App *app, const std::vector<Assignment> &assignments)
{
    bool good = true;
    for (const Assignment &assignment : assignments) {
        const QString why = guarded(*app, assignment);
        if (!why.isEmpty())
            app->out.problem("kv-host: " + why);
        good = good && why.isEmpty();
    }
    return good;
}

QString joined(const Variable &variable, const QVector<Value> &values)
{
    QStringList texts;
    for (const Value &value : values)
        texts << variable.shownValue(value);
    return texts.join(',');
}

int dryRun(App *app, const std::vector<Assignment> &assignments)
{
    const int maxBlock = app->session->settings().maxBlock;
    for (const Assignment &assignment : assignments) {
        int at = 0;
        for (const Address &piece : writePieces(assignment.variable.address, maxBlock)) {
            const int size =
                int(assignment.data.size()) * piece.elements / assignment.variable.address.elements;
            app->session->write(piece, assignment.data.mid(at, size));
            at += size;
            for (const PreviewedFrame &frame : previewFrames(app->session.get(), 1))
                app->out.line(QString::fromLatin1(frame.frame).trimmed());
        }
        if (assignment.variable.address.device->element == Element::Word &&
            assignment.variable.address.element == Element::Bit)
            app->out.note("(the other bits of the word as they are read then)");
    }
    return EXIT_GOOD;
}

// One line from the terminal, which a signal may interrupt.
bool confirmed(App *app)
{
    std::fputs("Write? [y/N] ", stderr);
    QByteArray line;
    bool closed = false;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [&] {
        char buffer[256];
        const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof buffer);
        closed = size <= 0;
        line.append(buffer, int(size > 0 ? size : 0));
        app->session->wake();
    });
    app->session->waitUntil([&] { return closed || line.contains('\n'); }, Time::max());
    return line.trimmed().toLower() == "y" || line.trimmed().toLower() == "yes";
}

std::vector<PartResult> runJob(App *app, const std::vector<Assignment> &assignments, RequestKind kind)
{
    Job job(app->session.get(), kind);
    for (const Assignment &assignment : assignments)
        job.add(assignment.variable.address, assignment.data);
    job.run();
    return job.results();
}

QString oldText(const Assignment &assignment, const PartResult &result)
{
    return result.state == RequestState::Done ? joined(assignment.variable, assignment.old)
                                              : QStringLiteral("?");
}

void showPlan(App *app, const std::vector<Assignment> &assignments, const std::vector<PartResult> &before)
{
    for (std::size_t i = 0; i < assignments.size(); ++i) {
        const Assignment &assignment = assignments[i];
        app->out.note(QStringLiteral("%1: %2 -> %3")
                          .arg(assignment.variable.name.isEmpty() ? assignment.variable.address.name()
                                                                  : assignment.variable.name,
                               oldText(assignment, before[i]),
                               joined(assignment.variable, assignment.wanted)));
    }
}

// Tells what the PLC holds now. \return the exit code
int showOutcome(App *app, const std::vector<Assignment> &assignments, const std::vector<PartResult> &written,
                const std::vector<PartResult> &readBack)
{
    int differing = 0;
    for (std::size_t i = 0; i < assignments.size(); ++i) {
        const Variable &variable = assignments[i].variable;
        const PartResult &bad = written[i].state == RequestState::Done ? readBack[i] : written[i];
        const QVector<Value> now = app->session->values(variable.address);
        for (int k = 0; k < now.size(); ++k) {
            QualityBook::State state = app->session->quality(variable.address, k);
            const bool differs = !(now[k] == assignments[i].wanted[k]);
            if (bad.state != RequestState::Done) {
                state.quality = Quality::Bad;
                state.reason = bad.reason;
            } else if (differs) {
                app->out.problem(
                    QStringLiteral("kv-host: %1 was written and confirmed, but holds another value: does "
                                   "the PLC's program write it too?")
                        .arg(variable.nameOf(k)));
            }
            differing += differs ? 1 : 0;
            app->out.row(makeRow(variable, k, now[k], state, nowMs()));
        }
    }
    // Never seen with a driver that reports each requester once; a host notices when it does not.
    const int surplus = app->session->requests().surplusReports();
    if (surplus > 0)
        app->out.problem(
            QStringLiteral("kv-host: %1 end(s) of requests were reported more than once").arg(surplus));
    const int code = exitCodeOf(written) != EXIT_GOOD ? exitCodeOf(written) : exitCodeOf(readBack);
    return code == EXIT_GOOD && differing > 0 ? int(EXIT_SOME_BAD) : code;
}

// Not one old value came, and not because the PLC refused it: nothing could be written either.
bool outOfReach(const std::vector<PartResult> &before)
{
    return std::all_of(before.begin(), before.end(), [](const PartResult &part) {
        return part.state != RequestState::Done && part.trouble != Trouble::Refused;
    });
}

int interruptedWrite(App *app)
{
    app->out.note(app->session->statistics().summary());
    return EXIT_BY_SIGNAL + app->session->interrupted();
}

int writeAll(App *app, std::vector<Assignment> *assignments)
{
    app->session->start();
    const auto before = runJob(app, *assignments, RequestKind::Read);
    for (Assignment &assignment : *assignments)
        assignment.old = app->session->values(assignment.variable.address);
    if (app->session->interrupted() != 0)
        return interruptedWrite(app);
    if (outOfReach(before))
        return showOutcome(app, *assignments, before, before);
    showPlan(app, *assignments, before);
    if (!app->options.yes && !confirmed(app)) {
        if (app->session->interrupted() != 0)
            return interruptedWrite(app);
        app->out.note("nothing was written");
        return EXIT_GOOD;
    }
    const auto written = runJob(app, *assignments, RequestKind::Write);
    const auto readBack = runJob(app, *assignments, RequestKind::Read);
    if (app->session->interrupted() != 0)
        return interruptedWrite(app);
    app->session->stop();
    std::vector<Variable> variables;
    for (const Assignment &assignment : *assignments)
        variables.push_back(assignment.variable);
    app->out.setNameWidth(widestName(variables));
    return showOutcome(app, *assignments, written, readBack);
}

} // namespace

int runWrite(App *app)
{
    std::vector<Assignment> assignments;
    if (!parseAll(app, &assignments))
        return EXIT_USAGE;
    if (!passGuard(app, assignments))
        return EXIT_REFUSED;
    if (app->options.dryRun)
        return dryRun(app, assignments);
    if (!app->options.yes && !stdinIsTerminal()) {
        app->out.problem(
            "kv-host: write asks before it writes, and there is no terminal to ask on: give --yes");
        return EXIT_USAGE;
    }
    return writeAll(app, &assignments);
}

} // namespace kvhost
