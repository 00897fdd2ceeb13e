// SPDX-License-Identifier: MIT
// check: is every line of a tag file and every address usable? Sends nothing.
#include "commands.h"

#include "app/exit_code.h"
#include "output/table.h"
#include "tags/tag_file.h"

namespace kvhost
{

namespace
{

struct Fault {
    QString where; // "tags.csv:7", or the word
    QString why;
};

// Good and bad of one run.
class Checker
{
public:
    explicit Checker(App &app) : m_app(app) {}

    // \return false if the file cannot be read at all
    bool checkFile()
    {
        const QString &path = m_app.options.tagFile;
        kvtags::TagFile file = kvtags::readTagFile(path, m_app.options.encoding);
        if (!file.problem.isEmpty()) {
            m_app.refuse(file.problem, ExitUsage);
            return false;
        }
        for (const kvtags::TagFault &fault : file.faults)
            m_faults.push_back({QStringLiteral("%1:%2").arg(path).arg(fault.line), fault.why});
        for (const kvtags::Variable &tag : file.tags)
            checkStation(tag, QStringLiteral("%1: tag '%2'").arg(path, tag.settings.name));
        return true;
    }

    void checkWord(const QString &word)
    {
        QString problem;
        if (const auto variable = kvtags::parseVariable(word, problem))
            checkStation(*variable, word);
        else
            m_faults.push_back({QString(), problem});
    }

    int report()
    {
        if (m_app.options.format == OutputFormat::Text) {
            for (const Fault &fault : m_faults)
                m_app.out.line(fault.where.isEmpty() ? fault.why
                                                     : QStringLiteral("%1: %2").arg(fault.where, fault.why));
        } else {
            Table table({"where", "problem"});
            for (const Fault &fault : m_faults)
                table.add({fault.where, fault.why});
            table.print(m_app.out);
        }
        m_app.out.note(QStringLiteral("%1 good, %2 bad").arg(m_good).arg(m_faults.size()));
        return m_faults.empty() ? ExitGood : ExitSomeBad;
    }

private:
    // Without any --plc nobody can know which stations there are.
    void checkStation(const kvtags::Variable &variable, const QString &where)
    {
        if (m_app.stations.isEmpty() || m_app.stations.find(variable.station) != nullptr)
            ++m_good;
        else
            m_faults.push_back({where, QStringLiteral("no --plc names station %1").arg(variable.station)});
    }

    App &m_app;
    int m_good = 0;
    std::vector<Fault> m_faults;
};

} // namespace

int runCheck(App &app)
{
    if (app.options.tagFile.isEmpty() && app.options.words.isEmpty())
        return app.refuse("nothing to check: name a tag file with -f, or write some addresses", ExitUsage);
    Checker checker(app);
    if (!app.options.tagFile.isEmpty() && !checker.checkFile())
        return ExitUsage;
    for (const QString &word : app.options.words)
        checker.checkWord(word);
    return checker.report();
}

} // namespace kvhost
