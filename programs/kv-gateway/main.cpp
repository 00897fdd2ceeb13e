// SPDX-License-Identifier: MIT
// kv-gateway: the service that keeps PLCs in sight, and what belongs to it.
#include "commands/commands.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>

#include <cstdio>
#include <exception>

namespace kvgateway
{

namespace
{

struct Typed {
    std::string file = CommandLine().file.toStdString();
    std::string driver, plc, folder, from, to, role = "viewer", validFor, shard;
    std::vector<std::string> names;
    bool isInsecure = false;
};

void addFile(CLI::App *command, Typed &typed, bool isPositional)
{
    command->add_option(isPositional ? "FILE,-c,--config" : "-c,--config", typed.file, "the configuration")
        ->type_name("FILE")
        ->capture_default_str();
}

void addAccounts(CLI::App &app, Typed &typed)
{
    CLI::App *user = app.add_subcommand("user", "who may log in");
    CLI::App *token = app.add_subcommand("token", "tokens for machines");
    user->require_subcommand(1);
    token->require_subcommand(1);
    const struct {
        CLI::App *parent;
        const char *name;
        const char *what;
        bool hasName, hasRole;
    } rows[] = {{user, "add", "add a user; the password is asked for, or read from a pipe", true, true},
                {user, "password", "set a new password; ends the sessions of the user", true, false},
                {user, "role", "set the role; ends the sessions of the user", true, true},
                {user, "remove", "remove a user", true, false},
                {user, "list", "all users", false, false},
                {token, "add", "make a token and print it, this once", true, true},
                {token, "remove", "remove a token", true, false},
                {token, "list", "all tokens", false, false}};
    for (const auto &row : rows) {
        CLI::App *command = row.parent->add_subcommand(row.name, row.what);
        addFile(command, typed, false);
        if (row.hasName)
            command->add_option("NAME", typed.names, "of the user or token")->required()->expected(1);
        if (row.hasRole)
            command->add_option("--role", typed.role, "what it may do")
                ->check(CLI::IsMember({"viewer", "operator", "engineer"}))
                ->capture_default_str();
        if (row.parent == token && row.hasRole)
            command->add_option("--for", typed.validFor, "how long it is good: 90d; otherwise forever")
                ->type_name("TIME");
    }
}

void addDatabase(CLI::App &app, Typed &typed)
{
    CLI::App *database = app.add_subcommand("db", "the tables that [[postgresql]] fills");
    database->require_subcommand(1);
    const struct {
        const char *name, *what;
    } rows[] = {{"init", "make them, or bring them up to date"},
                {"sql", "print what makes them, for those who let no program do that"}};
    for (const auto &row : rows) {
        CLI::App *command = database->add_subcommand(row.name, row.what);
        addFile(command, typed, false);
        command->add_option("NAME", typed.names, "of a [[postgresql]]; otherwise all");
    }
}

void describe(CLI::App &app, Typed &typed)
{
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("kv-gateway ") + KV_VERSION);
    app.add_option("--driver", typed.driver, "the driver library, if it is not where it was installed")
        ->type_name("PATH");
    app.fallthrough();
    CLI::App *check = app.add_subcommand("check", "name every mistake of a configuration; change nothing");
    addFile(check, typed, true);
    CLI::App *run =
        app.add_subcommand("run", "run the service; HUP reads the configuration again, TERM ends it");
    addFile(run, typed, true);
    run->add_option("--shard", typed.shard, "which [[shard]] of the configuration runs here")
        ->type_name("NAME")
        ->envname("KV_GATEWAY_SHARD");
    run->add_flag("--insecure", typed.isInsecure, "let other machines in without TLS or users");
    CLI::App *init = app.add_subcommand("init", "make a first configuration and tag file");
    init->add_option("--plc", typed.plc, "address of the PLC; otherwise it is asked for")->type_name("URL");
    init->add_option("FOLDER", typed.folder, "where to; otherwise here");
    CLI::App *history =
        app.add_subcommand("history", "print the history of tags as CSV, or list what has history");
    addFile(history, typed, false);
    history->add_option("TAG", typed.names, "names or patterns: line1.speed 'line1.*'");
    history->add_option("--from", typed.from, "2026-05-04T08:00:00Z")->type_name("TIME");
    history->add_option("--to", typed.to, "the rows before this time")->type_name("TIME");
    addAccounts(app, typed);
    addDatabase(app, typed);
    for (CLI::App *command : app.get_subcommands({}))
        command->fallthrough();
}

CommandLine lineOf(const CLI::App &app, const Typed &typed)
{
    CommandLine line;
    const CLI::App *command = app.get_subcommands().front();
    line.command = QString::fromStdString(command->get_name());
    if (!command->get_subcommands().empty())
        line.command += " " + QString::fromStdString(command->get_subcommands().front()->get_name());
    const auto text = [](const std::string &from) { return QString::fromStdString(from); };
    line.file = text(typed.file);
    line.driver = text(typed.driver);
    line.shard = text(typed.shard);
    line.isInsecure = typed.isInsecure;
    line.plc = text(typed.plc);
    line.folder = text(typed.folder);
    line.from = text(typed.from);
    line.to = text(typed.to);
    line.role = text(typed.role);
    line.validFor = text(typed.validFor);
    for (const std::string &name : typed.names)
        line.names << text(name);
    return line;
}

struct CommandRow {
    const char *name;
    int (*run)(const CommandLine &line);
};

// clang-format off
constexpr CommandRow commandRows[] = {
    {"check",   runCheck},
    {"run",     runService},
    {"init",    runInit},
    {"history", runHistory},
    {"db init", runDatabaseInit},
    {"db sql",  runDatabaseSql},
};
// clang-format on

// The driver's diagnostic lines are not for the journal.
void onQtMessage(QtMsgType type, const QMessageLogContext & /*where*/, const QString &text)
{
    if (type != QtDebugMsg)
        std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

int run(int argc, char **argv)
{
    Typed typed;
    CLI::App app("Keeps PLCs in sight: live values, history, writes and metrics over HTTP.", "kv-gateway");
    describe(app, typed);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error);
    }
    // Qt's own event loop instead of GLib's: fewer system calls for each wait.
    qputenv("QT_NO_GLIB", "1");
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(onQtMessage);
    const CommandLine line = lineOf(app, typed);
    for (const CommandRow &row : commandRows) {
        if (line.command == QLatin1String(row.name))
            return row.run(line);
    }
    return runAccounts(line);
}

} // namespace

} // namespace kvgateway

int main(int argc, char **argv)
{
    try {
        return kvgateway::run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "kv-gateway: %s\n", error.what());
        return 1;
    }
}
