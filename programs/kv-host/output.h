// What goes to stdout: values as text, CSV or JSON. Notes and progress go to stderr.
#pragma once

#include "options.h"
#include "quality.h"
#include "variable.h"

#include <functional>

namespace kvhost
{

/// One value to be told.
struct Row {
    qint64 timeMs = 0; ///< since 1970, UTC
    QString name;
    QString value; ///< as text; empty if there is none to show
    bool numeric = true;
    QString unit;
    Quality quality = Quality::Never;
    QString error; ///< with Bad
    bool hasValue = false;
};

/// False for what was never read, or is bad.
bool hasValue(const QualityBook::State &state);

/// The row for value i of a variable.
Row makeRow(const Variable &variable, int i, const Value &value, const QualityBook::State &state,
            qint64 timeMs);

/// One line, without its end. Pure.
QString textLine(const Row &row, int nameWidth);
QString csvLine(const Row &row);
QString jsonLine(const Row &row);
QString csvField(const QString &text);
extern const char CSV_HEADER[];

class Output
{
public:
    Output(OutputFormat format, bool quiet) : m_format(format), m_quiet(quiet) {}

    void setNameWidth(int width) { m_nameWidth = width; }
    void row(const Row &row);
    void line(const QString &text);
    /// A note for people, on stderr; nothing with -q.
    void note(const QString &text) const;
    /// An error, on stderr.
    void problem(const QString &text) const;

    /// The reader of our output has gone.
    bool broken() const { return m_broken; }
    OutputFormat format() const { return m_format; }
    bool quiet() const { return m_quiet; }

private:
    OutputFormat m_format;
    bool m_quiet;
    bool m_broken = false;
    bool m_headerDone = false;
    int m_nameWidth = 0;
};

bool stdoutIsTerminal();
bool stdinIsTerminal();

} // namespace kvhost
