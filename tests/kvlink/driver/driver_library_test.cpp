// SPDX-License-Identifier: MIT
// Which libraries are refused, and in which words; private copies, and what becomes of them.
#include "driver/driver_library.h"

#include "driver/loaded_driver.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <thread>

namespace kvlink
{
namespace
{

const QString realDriver = QStringLiteral(KV_DRIVER_PATH);

/// The problem of a library; empty if it is taken.
std::string refusal(const QString &file)
{
    DriverLibrary library;
    QString problem;
    return library.take(file, problem) == nullptr ? problem.toStdString() : std::string();
}

int openDescriptors()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
}

struct RefusalRow {
    const char *name;
    const char *ending; ///< of "the driver library FILE cannot be used: "
};

class Refusal : public testing::TestWithParam<RefusalRow>
{
};

TEST_P(Refusal, saysWhatIsWrong)
{
    const QString file = QStringLiteral(KV_FAKE_DRIVERS) + GetParam().name + ".so";
    EXPECT_EQ(refusal(file),
              "the driver library " + file.toStdString() + " cannot be used: " + GetParam().ending);
}

#if QT_VERSION_MAJOR == 5
constexpr const char *otherQt = "it is built with Qt 6, this program with Qt 5; install the driver for Qt 5";
#else
constexpr const char *otherQt = "it is built with Qt 5, this program with Qt 6; install the driver for Qt 6";
#endif

// clang-format off
INSTANTIATE_TEST_SUITE_P(Libraries, Refusal, testing::Values(
    RefusalRow{"no_identity",  "it does not say who it is (no call KvDriverIdentity); it is another library, or older than 0.2.0"},
    RefusalRow{"no_abi",       "it does not say who it is (no call KvDriverAbi); it is another library, or older than 0.2.0"},
    RefusalRow{"other_name",   "it is 'Other_Protocol 3.1', not the driver"},
    RefusalRow{"other_qt",     otherQt},
    RefusalRow{"other_abi",    "its ABI number is 2, and kvlink needs 1; install driver and kvlink of one version"},
    RefusalRow{"no_calls",     "it lacks the calls SetComInfo, RegistCallBackFuncIntf, FlashLocalRegister, "
                               "QueryFinishFlag, ComCommunication, DataCom, EnableEthernet, EnCommStation, "
                               "PLCAddressChangeIntef, AddListReadVar, AddListWriteVar, AddListOnceReadVar, "
                               "SetRegisterData, ReCreatReadVarList, GetRegisterData"}),
    [](const auto &row) { return row.param.name; });
// clang-format on

class MissingCall : public testing::TestWithParam<const char *>
{
};

TEST_P(MissingCall, isNamed)
{
    const QString file = QStringLiteral(KV_FAKE_DRIVERS "without_") + GetParam() + ".so";
    EXPECT_EQ(refusal(file), "the driver library " + file.toStdString() +
                                 " cannot be used: it lacks the call " + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Calls, MissingCall,
                         testing::Values("SetComInfo", "RegistCallBackFuncIntf", "FlashLocalRegister",
                                         "QueryFinishFlag", "ComCommunication", "DataCom", "EnableEthernet",
                                         "EnCommStation", "PLCAddressChangeIntef", "AddListReadVar",
                                         "AddListWriteVar", "AddListOnceReadVar", "SetRegisterData",
                                         "ReCreatReadVarList", "GetRegisterData"),
                         [](const auto &row) { return row.param; });

TEST(DriverLibrary, takesTheDriver)
{
    EXPECT_EQ(refusal(realDriver), "");
}

TEST(DriverLibrary, remembersWhatItRefused)
{
    DriverLibrary library;
    const QString file = QStringLiteral(KV_FAKE_DRIVERS "other_abi.so");
    QString first;
    QString second;
    EXPECT_EQ(library.take(file, first), nullptr);
    const int descriptors = openDescriptors();
    EXPECT_EQ(library.take(file, second), nullptr);
    EXPECT_EQ(second, first);
    EXPECT_EQ(openDescriptors(), descriptors); // not loaded again
}

class OddFile : public testing::Test
{
protected:
    QString file(const QByteArray &content) const
    {
        QFile out(folder.filePath(QStringLiteral("driver.so")));
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(content);
        return out.fileName();
    }

    /// The first bytes of a 64-bit shared library with one segment of that many bytes of the file.
    static QByteArray library(quint64 segmentBytes)
    {
        Elf64_Ehdr header = {};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_phentsize = sizeof(Elf64_Phdr);
        header.e_phoff = sizeof(header);
        header.e_phnum = 1;
        header.e_shoff = 5000;
        header.e_shnum = 30;
        Elf64_Phdr segment = {};
        segment.p_type = PT_LOAD;
        segment.p_filesz = segmentBytes;
        return QByteArray(reinterpret_cast<const char *>(&header), sizeof(header)) +
               QByteArray(reinterpret_cast<const char *>(&segment), sizeof(segment));
    }

    std::string problemOf(const QString &name) const
    {
        const std::string text = refusal(name);
        const std::string beginning = "the driver library " + name.toStdString() + " ";
        return text.rfind(beginning, 0) == 0 ? text.substr(beginning.size()) : text;
    }

    const QTemporaryDir folder;
};

TEST_F(OddFile, missing)
{
    EXPECT_EQ(problemOf(folder.filePath(QStringLiteral("none.so"))), "does not exist; check the path");
}

TEST_F(OddFile, aFolder)
{
    EXPECT_EQ(problemOf(folder.path()), "cannot be loaded: it is not a file");
}

TEST_F(OddFile, empty)
{
    EXPECT_EQ(problemOf(file("")), "cannot be loaded: it is not a shared library");
}

TEST_F(OddFile, text)
{
    EXPECT_EQ(problemOf(file(QByteArray(100, 'x'))), "cannot be loaded: it is not a shared library");
}

TEST_F(OddFile, ofA32BitMachine)
{
    QByteArray content = library(100);
    content[EI_CLASS] = ELFCLASS32;
    EXPECT_EQ(problemOf(file(content)), "cannot be loaded: it is built for another kind of machine");
}

TEST_F(OddFile, withoutItsEnd)
{
    EXPECT_EQ(problemOf(file(library(10000))), "cannot be loaded: the file is cut short");
    EXPECT_EQ(problemOf(file(library(100).left(70))), "cannot be loaded: the file is cut short");
}

TEST_F(OddFile, isLoadedWithoutItsDebugInformation)
{
    QString problem;
    const auto part = loadablePart(file(library(300) + QByteArray(1000, 'd')), problem);
    ASSERT_TRUE(part);
    EXPECT_EQ(part->size(), 300);
    Elf64_Ehdr header;
    std::memcpy(&header, part->constData(), sizeof(header));
    EXPECT_EQ(header.e_shoff, 0U);
    EXPECT_EQ(header.e_shnum, 0);
    EXPECT_EQ(part->mid(EI_CLASS, 1).toHex(), "02");
}

TEST_F(OddFile, thatTheLoaderRefusesIsNamedAndNotItsCopy)
{
    const QString name = file(library(100));
    const std::string problem = problemOf(name);
    EXPECT_NE(problem.find(name.toStdString()), std::string::npos) << problem;
    EXPECT_EQ(problem.find("/proc/self/fd"), std::string::npos) << problem;
}

// --- copies --------------------------------------------------------------------------------------

std::optional<CopyPlace> refuseMemory(const QByteArray & /*bytes*/, QString &problem)
{
    problem = QStringLiteral("Operation not permitted");
    return std::nullopt;
}

QStringList temporaryCopies()
{
    return QDir::temp().entryList({QStringLiteral("plc-driver-*")}, QDir::Files);
}

TEST(PrivateCopy, isATemporaryFileWhereMemoryIsRefused)
{
    DriverLibrary library({refuseMemory, copyToTemporaryFile});
    const int descriptors = openDescriptors();
    QString problem;
    DriverCopy *one = library.take(realDriver, problem);
    DriverCopy *other = library.take(realDriver, problem);
    ASSERT_NE(one, nullptr) << problem.toStdString();
    ASSERT_NE(other, nullptr) << problem.toStdString();
    EXPECT_NE(one->calls.comCommunication, other->calls.comCommunication);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(temporaryCopies(), QStringList());
}

TEST(PrivateCopy, isATemporaryFileWhereMemoryCannotBeLoaded)
{
    const auto unloadable = [](const QByteArray & /*bytes*/, QString &problem) {
        return copyToMemory("not a library", problem);
    };
    DriverLibrary library({unloadable, copyToTemporaryFile});
    const int descriptors = openDescriptors();
    QString problem;
    EXPECT_NE(library.take(realDriver, problem), nullptr) << problem.toStdString();
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(PrivateCopy, thatCannotBeMadeIsAProblem)
{
    DriverLibrary library({refuseMemory});
    QString problem;
    EXPECT_EQ(library.take(realDriver, problem), nullptr);
    EXPECT_EQ(problem.toStdString(),
              "the driver library " KV_DRIVER_PATH " cannot be loaded: Operation not permitted");
}

TEST(PrivateCopy, isUsedAgainByTheNextLink)
{
    constexpr int links = 64;
    DriverLibrary library;
    QString problem;
    int descriptors = 0;
    for (int round = 0; round < 100; ++round) {
        std::vector<std::unique_ptr<LoadedDriver>> drivers;
        for (int i = 0; i < links; ++i)
            drivers.push_back(std::make_unique<LoadedDriver>(library, library.take(realDriver, problem)));
        if (round == 0)
            descriptors = openDescriptors();
        drivers.back()->beginRead(AREA_DM, round, 1); // and is destroyed with a request in hand
        ASSERT_EQ(drivers.back()->frame().toStdString(), "RDS DM" + std::to_string(round) + ".U 1\r");
    }
    EXPECT_EQ(library.loaded(), links);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(PrivateCopy, ofAReplacedFileIsANewOne)
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("driver.so"));
    ASSERT_TRUE(QFile::copy(realDriver, name));
    DriverLibrary library;
    QString problem;
    DriverCopy *before = library.take(name, problem);
    ASSERT_NE(before, nullptr) << problem.toStdString();
    library.giveBack(before);
    ASSERT_TRUE(QFile::remove(name));
    ASSERT_TRUE(QFile::copy(QStringLiteral(KV_FAKE_DRIVERS "other_abi.so"), name));
    EXPECT_EQ(library.take(name, problem), nullptr);
    EXPECT_EQ(library.loaded(), 1);
}

TEST(PrivateCopy, hasAStateOfItsOwn)
{
    constexpr int links = 64;
    DriverLibrary library;
    QString problem;
    std::vector<std::unique_ptr<LoadedDriver>> drivers;
    for (int i = 0; i < links; ++i) {
        DriverCopy *copy = library.take(realDriver, problem);
        ASSERT_NE(copy, nullptr) << problem.toStdString();
        drivers.push_back(std::make_unique<LoadedDriver>(library, copy));
    }
    for (int i = 0; i < links; ++i)
        drivers[size_t(i)]->beginRead(AREA_DM, i, 1); // all in flight at once
    for (int i = 0; i < links; ++i)
        ASSERT_EQ(drivers[size_t(i)]->frame().toStdString(), "RDS DM" + std::to_string(i) + ".U 1\r");
    for (int i = 0; i < links; ++i) {
        const QByteArray answer = QByteArray::number(100 + i).rightJustified(5, '0') + "\r\n";
        ASSERT_EQ(drivers[size_t(i)]->answer(answer), Driver::Result::Done);
    }
    for (int i = 0; i < links; ++i) {
        const QByteArray words = drivers[size_t(i)]->block(AREA_DM, 0, links).whole;
        QByteArray expected(2 * links, '\0'); // of all places only its own one has come
        expected[2 * i] = char(100 + i);
        ASSERT_EQ(words.toHex(), expected.toHex()) << i;
    }
}

TEST(PrivateCopy, sharesNothingWithADriverThatTheHostLoadedForAllToSee)
{
    void *hosts = ::dlopen(KV_DRIVER_PATH, RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(hosts, nullptr);
    const auto *hostsState = static_cast<const Communication_Protocol *>(::dlsym(hosts, "PLC_driver"));
    ASSERT_NE(hostsState, nullptr);
    DriverLibrary library;
    QString problem;
    LoadedDriver driver(library, library.take(realDriver, problem));
    driver.beginRead(AREA_DM, 3, 1);
    EXPECT_EQ(driver.frame(), "RDS DM3.U 1\r");
    EXPECT_EQ(hostsState->comInfo, nullptr);
    EXPECT_TRUE(hostsState->onceReadList.isEmpty());
    EXPECT_TRUE(hostsState->frameQueue.isEmpty());
}

TEST(PrivateCopy, isTakenAndGivenBackOnAnyThread)
{
    constexpr int threads = 8;
    DriverLibrary library;
    std::vector<std::thread> links;
    for (int i = 0; i < threads; ++i) {
        links.emplace_back([&library, i] {
            QString problem;
            for (int round = 0; round < 50; ++round) {
                LoadedDriver driver(library, library.take(realDriver, problem));
                driver.beginRead(AREA_DM, i, 1);
                EXPECT_EQ(driver.frame(), "RDS DM" + QByteArray::number(i) + ".U 1\r");
                EXPECT_EQ(driver.answer("00001\r\n"), Driver::Result::Done);
            }
        });
    }
    for (std::thread &link : links)
        link.join();
    EXPECT_LE(library.loaded(), threads);
}

} // namespace
} // namespace kvlink
