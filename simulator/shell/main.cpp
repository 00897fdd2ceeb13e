// kv-sim: a strict simulated KV PLC with every vice of the field.
#include "options.h"
#include "program.h"
#include "signals.h"

#include <QCoreApplication>

int main(int argc, char **argv)
{
    Options options;
    if (const int code = parseOptions(argc, argv, options); code >= 0)
        return code;
    QCoreApplication application(argc, argv);
    onEndSignals([] { Program::quit(); });
    Program program(options);
    if (const int code = program.start(); code != 0)
        return code;
    QCoreApplication::exec();
    return program.end();
}
