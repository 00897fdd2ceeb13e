// SPDX-License-Identifier: MIT
// The real kv-gateway in a folder of its own, with a simulated PLC.
#pragma once

#include "../http/http_client.h"
#include "simulated_plc.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>

namespace kvgateway
{

struct Ended {
    int code = -1;
    std::string output, errors;
};

class GatewayTest : public testing::Test
{
protected:
    static constexpr char tags[] = "name,address,period,history,min,max,rw\n"
                                   "speed,DM100.S,20ms,yes,-10,1500,rw\n"
                                   "run,R500,20ms,no,,,rw\n"
                                   "fixed,DM101,20ms,no,,,r\n";

    GatewayTest() { writeFile("tags.csv", tags); }
    // On purpose not killed: what a sanitizer or the coverage has to say comes at the end.
    ~GatewayTest() override
    {
        if (gateway.state() != QProcess::NotRunning)
            stop();
    }

    QString path(const char *name) const { return folder.filePath(name); }
    void writeFile(const char *name, const QByteArray &text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
    QByteArray readFile(const char *name) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    /// \param more keys in front of the sections; \param sections after [[plc]]
    void writeConfig(const QByteArray &access = "local = \"engineer\"", const QByteArray &listen = {},
                     const QByteArray &plcKeys = {}) const
    {
        writeFile("gateway.toml", "data = \"data\"\n[listen]\nport = 0\n" + listen + "\n[access]\n" + access +
                                      "\n[[plc]]\nname = \"a\"\nurl = \"" + sim.url().toUtf8() +
                                      "\"\ntags = \"tags.csv\"\n" + plcKeys + "\n");
    }

    Ended command(const QStringList &arguments, const QByteArray &input = {}) const
    {
        QProcess process;
        process.setWorkingDirectory(folder.path());
        process.start(QStringLiteral(KV_GATEWAY_PATH), arguments);
        process.write(input);
        process.closeWriteChannel();
        EXPECT_TRUE(process.waitForFinished(patienceMs));
        return {process.exitCode(), process.readAllStandardOutput().toStdString(),
                process.readAllStandardError().toStdString()};
    }

    bool start(const QStringList &more = {})
    {
        log.clear();
        gateway.setWorkingDirectory(folder.path());
        gateway.start(QStringLiteral(KV_GATEWAY_PATH), QStringList{"run", "gateway.toml"} + more);
        const bool isUp = says("listening on ");
        port = quint16(
            log.mid(log.indexOf(" port ", log.indexOf("listening on ")) + 6).split('\n').first().toUShort());
        EXPECT_TRUE(isUp) << log.toStdString();
        return isUp;
    }
    bool startAndRead()
    {
        return start() && until([this] { return get("/api/v1/values/a.speed").body.contains("\"good\""); });
    }
    /// Waits for a text in what the gateway says.
    bool says(const char *text)
    {
        const QDeadlineTimer end(patienceMs);
        while (!log.contains(text) && !end.hasExpired()) {
            gateway.waitForReadyRead(50);
            log += gateway.readAllStandardError();
            if (gateway.state() == QProcess::NotRunning)
                break;
        }
        return log.contains(text);
    }
    static bool until(const std::function<bool()> &isThere)
    {
        const QDeadlineTimer end(patienceMs);
        while (!end.hasExpired()) {
            if (isThere())
                return true;
        }
        return isThere();
    }
    /// \return milliseconds that it took
    qint64 stop()
    {
        QElapsedTimer clock;
        clock.start();
        gateway.terminate();
        EXPECT_TRUE(gateway.waitForFinished(patienceMs));
        EXPECT_EQ(gateway.exitCode(), 0);
        log += gateway.readAllStandardError();
        return clock.elapsed();
    }
    void hangUp() const { ::kill(pid_t(gateway.processId()), SIGHUP); }

    Answer get(const std::string &target, const std::string &headers = {}) const
    {
        return request(port, "GET", target, {}, headers);
    }
    Answer post(const std::string &target, const std::string &body, const std::string &headers = {}) const
    {
        return request(port, "POST", target, body, headers);
    }
    static QJsonObject json(const Answer &answer) { return QJsonDocument::fromJson(answer.body).object(); }

    QTemporaryDir folder;
    SimulatedPlc sim;
    QProcess gateway;
    QByteArray log;
    quint16 port = 0;
};

} // namespace kvgateway
