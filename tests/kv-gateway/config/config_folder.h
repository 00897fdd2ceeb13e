// SPDX-License-Identifier: MIT
// A folder with a configuration and the files that it names.
#pragma once

#include "config/config_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace kvgateway
{

class ConfigFolder
{
public:
    QString write(const char *name, const QByteArray &bytes) const
    {
        EXPECT_TRUE(QFileInfo(path(name)).dir().mkpath("."));
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return file.fileName();
    }
    QString path(const char *name) const { return m_folder.filePath(name); }

    LoadedConfig load(const QByteArray &toml) const { return loadConfig(write("gateway.toml", toml)); }
    // The problems as the program shows them, without the folder.
    std::string problems(const QByteArray &toml) const
    {
        std::string all;
        for (const Problem &problem : load(toml).problems)
            all += problem.shown().remove(m_folder.path() + "/").toStdString() + "\n";
        return all;
    }

private:
    QTemporaryDir m_folder;
};

/// With one PLC and its tag file: four lines, then the keys of an outlet from line 5 on.
class OutletFolder : public ConfigFolder
{
public:
    OutletFolder()
    {
        write("tags.csv", "name,address\nspeed,DM200.S\n");
        write("file", "x");
    }
    LoadedConfig load(const QByteArray &keys) const { return ConfigFolder::load(onePlc + keys); }
    std::string problems(const QByteArray &keys) const { return ConfigFolder::problems(onePlc + keys); }

private:
    static constexpr char onePlc[] =
        "[[plc]]\nname = \"line1\"\nurl = \"tcp://127.0.0.1\"\ntags = \"tags.csv\"\n";
};

} // namespace kvgateway
