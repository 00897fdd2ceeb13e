// SPDX-License-Identifier: MIT
// The driver in a host that loads it at run time: beside names of the host's own, and beside
// a second copy.
#include "host_names.h"

#include <Communication_Protocol.h>

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <dlfcn.h>

namespace
{
constexpr int linkedStation = 1;
constexpr int otherStation = 3;

// One loaded copy of the driver. It stays loaded, as in a host.
class Driver
{
public:
    Driver(const QString &file, int visibility)
        : m_library(dlopen(QFile::encodeName(file).constData(), RTLD_NOW | visibility))
    {
        EXPECT_NE(m_library, nullptr) << dlerror();
        m_settings.commMode = 0; // writes change the store alone
        m_settings.maxBlockLength = 64;
        m_settings.multiStation = 1;
        call<void(ComInfo *)>("SetComInfo")(&m_settings);
    }

    template <class Function>
    Function *call(const char *name) const
    {
        return reinterpret_cast<Function *>(symbol(name));
    }

    void *symbol(const char *name) const
    {
        void *found = dlsym(m_library, name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }

    Communication_Protocol &state() const
    {
        return *static_cast<Communication_Protocol *>(symbol("PLC_driver"));
    }

    const ComInfo *settings() const { return &m_settings; }

    void write(const char *address, const QByteArray &data) const
    {
        const auto set = call<int(QString, int, QString, int, QByteArray, int, int, int)>("SetRegisterData");
        EXPECT_EQ(set(QString(), AREA_DM, QString::fromLatin1(address), linkedStation, data, 1, 0, 0), 1);
    }

    QByteArray read(const char *address) const
    {
        const auto get = call<int(int, int, QString, int, QByteArray *, int)>("GetRegisterData");
        QByteArray out;
        EXPECT_EQ(get(0, AREA_DM, QString::fromLatin1(address), linkedStation, &out, 1), 1);
        return out;
    }

    using Links = QMap<int, bool>;

    Links &links() const { return *static_cast<Links *>(symbol("handshake")); }

    void link() const { links()[linkedStation] = true; }

    // The next frame, for a list of the first station off and the second one on.
    QByteArray frameOfTheStationThatIsOn() const
    {
        RW_VAR off;
        off.area = AREA_DM;
        off.station = otherStation;
        off.count = 1;
        RW_VAR on = off;
        on.station = linkedStation;
        on.address = 200;
        const auto add = call<int(RW_VAR *)>("AddListReadVar");
        add(&off);
        add(&on);
        call<void(int, int)>("EnableEthernet")(otherStation, 0);
        const quintptr head = call<quintptr()>("ComCommunication")();
        return head == 0 ? QByteArray() : reinterpret_cast<const Protocol *>(head)->frame;
    }

private:
    void *m_library;
    ComInfo m_settings;
};

QString driverFile()
{
    return QStringLiteral(KV_DRIVER_PATH);
}

// A copy of the library's file, for a second driver in the same process.
class DriverCopy
{
public:
    DriverCopy() { EXPECT_TRUE(QFile::copy(driverFile(), file())); }

    QString file() const { return m_folder.filePath(QStringLiteral("libCopy.so")); }

private:
    QTemporaryDir m_folder;
};

TEST(Loading, leavesVariablesOfTheHostWithTheSameNamesAlone)
{
    ASSERT_TRUE(hostnames::areUntouched());
    const Driver driver(driverFile(), RTLD_LOCAL);
    driver.link();
    int areas[3] = {};
    driver.call<void(void *, void *, void *)>("FlashLocalRegister")(&areas[0], &areas[1], &areas[2]);
    driver.write("5", "\x34\x12");
    EXPECT_EQ(driver.read("5"), QByteArray("\x34\x12"));
    EXPECT_TRUE(hostnames::areUntouched());
    EXPECT_EQ(*static_cast<void **>(driver.symbol("LB")), &areas[0]);
}

TEST(Loading, callsNoFunctionOfTheHostWithTheSameName)
{
    const Driver driver(driverFile(), RTLD_LOCAL);
    driver.link();
    EXPECT_EQ(driver.frameOfTheStationThatIsOn(), QByteArray("RDS DM200.U 1\r"));
    EXPECT_EQ(hostnames::callsTaken(), 0);
}

// How the first and the second copy of the driver are loaded.
struct VisibilityRow {
    const char *name;
    int first;
    int second;

    friend std::ostream &operator<<(std::ostream &out, const VisibilityRow &row) { return out << row.name; }
};

class TwoCopies : public testing::TestWithParam<VisibilityRow>
{
};

TEST_P(TwoCopies, shareNothing)
{
    const DriverCopy firstCopy;
    const DriverCopy secondCopy;
    const Driver first(firstCopy.file(), GetParam().first);
    const Driver second(secondCopy.file(), GetParam().second);
    ASSERT_NE(&first.state(), &second.state());
    EXPECT_EQ(first.state().comInfo, first.settings());
    EXPECT_EQ(second.state().comInfo, second.settings());

    first.write("5", "\x34\x12");
    EXPECT_EQ(first.read("5"), QByteArray("\x34\x12"));
    EXPECT_EQ(second.read("5"), QByteArray(2, '\0'));

    first.link();
    EXPECT_EQ(first.frameOfTheStationThatIsOn(), QByteArray("RDS DM200.U 1\r"));
    EXPECT_TRUE(second.state().readList.isEmpty());
    EXPECT_TRUE(second.state().frameQueue.isEmpty());
    EXPECT_TRUE(second.state().stationMap.isEmpty());
    EXPECT_TRUE(second.links().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Loaded, TwoCopies,
                         testing::Values(VisibilityRow{"bothLocal", RTLD_LOCAL, RTLD_LOCAL},
                                         VisibilityRow{"firstGlobal", RTLD_GLOBAL, RTLD_LOCAL},
                                         VisibilityRow{"secondGlobal", RTLD_LOCAL, RTLD_GLOBAL},
                                         VisibilityRow{"bothGlobal", RTLD_GLOBAL, RTLD_GLOBAL}),
                         [](const auto &row) { return std::string(row.param.name); });
} // namespace
