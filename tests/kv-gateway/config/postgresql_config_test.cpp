// SPDX-License-Identifier: MIT
// [[postgresql]]: its keys, what they are without one, and each mistake with its place.
#include "config_folder.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

TEST(PostgresqlConfig, smallestOneHasDefaults)
{
    const OutletFolder folder;
    const LoadedConfig loaded =
        folder.load("[[postgresql]]\nurl = \"postgresql:///plant\"\nsite = \"plant1\"\n");
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    PostgresqlConfig expected;
    expected.name = "postgresql";
    expected.port = 5432;
    expected.socket = "/run/postgresql";
    expected.database = "plant";
    expected.sslMode = SslMode::Prefer;
    expected.schema = "kv";
    expected.site = "plant1";
    expected.drainRate = 10'000;
    expected.keep = 7 * 24h;
    expected.size = 1'000'000'000;
    EXPECT_TRUE(loaded.config.postgresql.at(0) == expected);
}

TEST(PostgresqlConfig, saysWhichDatabaseItMeans)
{
    PostgresqlConfig config;
    config.database = "plant";
    config.port = 5432;
    EXPECT_EQ(config.place(), "postgresql:///plant");
    config.socket = "/tmp/db";
    EXPECT_EQ(config.place(), "postgresql:///plant (/tmp/db)");
    config.port = 5433;
    EXPECT_EQ(config.place(), "postgresql://:5433/plant (/tmp/db)");
    config.host = "db.example";
    EXPECT_EQ(config.place(), "postgresql://db.example:5433/plant");
}

TEST(PostgresqlConfig, everyKeyIsTaken)
{
    const OutletFolder folder;
    const LoadedConfig loaded = folder.load(R"(
[[postgresql]]
name = "cloud"
url = "postgres://anna%40plant@db.example:5433/values"
password_file = "file"
sslmode = "verify-full"
ca = "file"
certificate = "file"
key = "file"
schema = "line_1"
site = "plant1"
tags = ["line1.*"]
drain = 500
keep = "forever"
size = "unlimited"
standby = true
[[postgresql]]
name = "here"
url = "postgresql:///plant"
socket = "/tmp/db"
site = "plant1"
)");
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    PostgresqlConfig cloud;
    cloud.name = "cloud";
    cloud.host = "db.example";
    cloud.port = 5433;
    cloud.database = "values";
    cloud.user = "anna@plant";
    cloud.passwordFile = cloud.ca = cloud.certificate = cloud.key = folder.path("file");
    cloud.sslMode = SslMode::VerifyFull;
    cloud.schema = "line_1";
    cloud.site = "plant1";
    cloud.tags = QStringList{"line1.*"};
    cloud.drainRate = 500;
    cloud.keep = 0s;
    cloud.size = 0;
    cloud.standby = true;
    EXPECT_TRUE(loaded.config.postgresql.at(0) == cloud);
    EXPECT_EQ(loaded.config.standby(), &loaded.config.postgresql.at(0));
    EXPECT_EQ(loaded.config.postgresql.at(1).host, "");
    EXPECT_EQ(loaded.config.postgresql.at(1).socket, "/tmp/db");
}

struct BadRow {
    const char *row;
    const char *keys; // after [[postgresql]] and a good url, from line 7 on
    const char *problem;
};

class BadPostgresql : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadPostgresql, isNamedWithItsPlace)
{
    const OutletFolder folder;
    EXPECT_EQ(folder.problems(QByteArray("[[postgresql]]\nurl = \"postgresql://db/plant\"\n") +
                              GetParam().keys + "\n"),
              GetParam().problem + std::string("\n"));
}

const BadRow badRows[] = {
    {"unknownKey", "shcema = \"kv\"",
     "gateway.toml:7:1: unknown key \"shcema\" in [[postgresql]]; did you mean \"schema\"?"},
    {"name", "name = \"a b\"",
     "gateway.toml:7:8: the name \"a b\" may have letters, digits, '-' and '_' only, and at most 40 of them"},
    {"twoNames", "[[postgresql]]\nurl = \"postgresql://other/plant\"",
     "gateway.toml:7:1: two outlets are called \"postgresql\": give each a name of its own"},
    {"nameOfABroker", "[[mqtt]]\nurl = \"mqtt://broker\"\nname = \"postgresql\"",
     "gateway.toml:5:1: two outlets are called \"postgresql\": give each a name of its own"},
    {"sameRows", "site = \"s\"\n[[postgresql]]\nname = \"b\"\nurl = \"postgresql://db/plant\"\nsite = \"s\"",
     "gateway.toml:10:7: two [[postgresql]] fill the schema \"kv\" of postgresql://db:5432/plant as one "
     "site: "
     "each change would be there twice; set schema or site"},
    {"socketOfAHost", "socket = \"/tmp\"",
     "gateway.toml:7:10: socket is the folder of a database on this machine, \"/run/postgresql\", and url "
     "then "
     "has no host"},
    {"noPasswordFile", "password_file = \"none\"", "gateway.toml:7:17: password_file: none cannot be read"},
    {"sslmode", "sslmode = \"verify-ful\"",
     "gateway.toml:7:11: sslmode must be one of \"disable\", \"prefer\", \"require\", \"verify-ca\", "
     "\"verify-full\"; did you mean \"verify-full\"?"},
    {"keyWithoutCertificate", "key = \"file\"", "gateway.toml:5:1: a certificate needs its key: give both"},
    {"certificateWithoutTls", "sslmode = \"disable\"\nca = \"file\"",
     "gateway.toml:7:11: certificates need TLS: write sslmode = \"verify-full\""},
    {"uncheckedCa", "ca = \"file\"",
     "gateway.toml:7:6: ca is used only with sslmode = \"verify-full\" or \"verify-ca\": with \"prefer\" "
     "nobody "
     "checks the certificate"},
    {"schema", "schema = \"My Schema\"",
     "gateway.toml:7:10: the schema \"My Schema\" may have lower-case letters, digits and '_' only, must not "
     "begin "
     "with a digit or \"pg_\", and has at most 40 of them"},
    {"siteWithSlash", "site = \"a/b\"",
     "gateway.toml:7:8: site \"a/b\": it must not be empty, nor have '+', '#' or '/'"},
    {"unknownTag", "tags = [\"line1.sped\"]", "gateway.toml:7:8: no tag is called \"line1.sped\""},
    {"drain", "drain = 0",
     "gateway.toml:7:9: drain must be a whole number from 1 to 1000000, without quotes"},
    {"standbyOfAMachine", "standby = true",
     "gateway.toml:5:1: with standby, every [[postgresql]] needs a site: otherwise each gateway takes the "
     "name "
     "of its machine"},
    {"brokerOfAMachine", "standby = true\nsite = \"s\"\n[[mqtt]]\nurl = \"mqtt://broker\"",
     "gateway.toml:9:1: with standby, every [[mqtt]] needs a site: otherwise each gateway takes the name of "
     "its "
     "machine"},
    {"twoStandbys",
     "standby = true\nsite = \"s\"\n[[postgresql]]\nname = \"b\"\nurl = \"postgresql://other/plant\"\n"
     "site = \"s\"\nstandby = true",
     "gateway.toml:13:11: the [[postgresql]] \"postgresql\" says already which gateway is on duty: only one "
     "can"},
    {"nodeOfAMachine", "standby = true\nsite = \"s\"\n[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"g\"",
     "gateway.toml:9:1: with standby, every [[sparkplug]] needs a node: otherwise each gateway takes the "
     "name "
     "of its machine"},
    {"standbyOfItsOwn", "[standby]",
     "gateway.toml:7:1: write standby = true into a [[postgresql]]: its database says which gateway is on "
     "duty; "
     "without PostgreSQL there is no standby"},
    {"onePairOfBrackets", "[postgres]",
     "gateway.toml:7:2: unknown key \"postgres\"; did you mean \"postgresql\"?"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadPostgresql, testing::ValuesIn(badRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(PostgresqlConfig, aDatabaseIsNamedByItsUrl)
{
    const OutletFolder folder;
    EXPECT_EQ(
        folder.problems("[[postgresql]]\n"),
        "gateway.toml:5:1: a [[postgresql]] has no database: add url = \"postgresql://HOST/DATABASE\"\n");
    for (const char *url :
         {"plant", "mysql://db/plant", "postgresql://db", "postgresql://db/", "postgresql://db:0/p",
          "postgresql://db/a/b", "postgresql://db/plant?sslmode=require"})
        EXPECT_NE(
            folder.problems("[[postgresql]]\nurl = \"" + QByteArray(url) + "\"\n").find("is not a database"),
            std::string::npos)
            << url;
    const std::string problems =
        folder.problems("[[postgresql]]\nurl = \"postgresql://anna:secret@db/plant\"\n");
    EXPECT_NE(problems.find("use password_file"), std::string::npos);
    EXPECT_EQ(problems.find("secret"), std::string::npos) << "a password is not repeated";
}

} // namespace
} // namespace kvgateway
