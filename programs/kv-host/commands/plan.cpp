// plan: the read blocks and frames that a list of variables becomes. Sends nothing.
#include "../app.h"
#include "../frame_preview.h"
#include "../table.h"

namespace kvhost
{

namespace
{

bool overlaps(const UnitRange &range, const RW_VAR &block)
{
    return range.station == block.station && range.key == block.area &&
           range.first < block.address + block.count && block.address < range.first + range.count;
}

QString servedBy(const RW_VAR &block, const std::vector<Variable> &variables)
{
    QStringList names;
    for (const Variable &variable : variables) {
        if (overlaps(unitsOf(variable.address), block))
            names << (variable.name.isEmpty() ? variable.address.name() : variable.name);
    }
    return names.join(' ');
}

} // namespace

int runPlan(App *app)
{
    std::vector<Variable> variables;
    if (!variablesFor(app, app->options.words, &variables))
        return EXIT_USAGE;
    const int blocks = app->session->readCyclically(variables, app->options.cycle);
    Table table({"station", "frame", "units", "answer bytes", "serves"});
    int bytes = 0;
    for (const PreviewedFrame &frame : previewFrames(app->session.get(), blocks)) {
        table.add({QString::number(frame.var.station), QString::fromLatin1(frame.frame).trimmed(),
                   QString::number(frame.var.count), QString::number(frame.replyLength),
                   servedBy(frame.var, variables)});
        bytes += int(frame.frame.size()) + frame.replyLength;
    }
    table.print(&app->out);
    app->out.note(QStringLiteral("%1 variable(s) become %2 request(s) a pass, %3 bytes there and back")
                      .arg(variables.size())
                      .arg(blocks)
                      .arg(bytes));
    return EXIT_GOOD;
}

} // namespace kvhost
