// SPDX-License-Identifier: MIT
// What the shared object offers by name: host calls under plain names, everything else
// under C++ names.
#include "driver_test.h"
#include "rows.h"

#include <QLibrary>

#include <dlfcn.h>

namespace
{
// The shared object, opened the way a host opens it.
class ExportedNames : public DriverTest
{
protected:
    ExportedNames() : m_library(QStringLiteral(KV_DRIVER_PATH)) { EXPECT_TRUE(m_library.load()) << error(); }

    bool offers(const char *name) { return m_library.resolve(name) != nullptr; }

    template <class Function>
    Function *call(const char *name)
    {
        const QFunctionPointer found = m_library.resolve(name);
        EXPECT_NE(found, nullptr) << name;
        return reinterpret_cast<Function *>(found);
    }

    std::string error() const { return m_library.errorString().toStdString(); }

private:
    QLibrary m_library;
};

struct NameRow {
    const char *name;
    const char *symbol;

    friend std::ostream &operator<<(std::ostream &out, const NameRow &row) { return out << row.name; }
};

// --- host calls ---------------------------------------------------------------------------------

class HostCallName : public ExportedNames, public testing::WithParamInterface<const char *>
{
};

TEST_P(HostCallName, isExportedAsItIsWritten)
{
    EXPECT_TRUE(offers(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Calls, HostCallName,
                         testing::Values("SetComInfo", "RegistCallBackFuncIntf", "FlashLocalRegister",
                                         "QueryFinishFlag", "ComCommunication", "DataCom", "EnableEthernet",
                                         "EnCommStation", "PLCAddressChangeIntef", "AddListReadVar",
                                         "AddListWriteVar", "AddListOnceReadVar", "SetRegisterData",
                                         "ReCreatReadVarList", "GetRegisterData", "KvDriverIdentity",
                                         "KvDriverQtMajor", "KvDriverAbi"),
                         [](const auto &row) { return std::string(row.param); });

// --- process-wide objects -----------------------------------------------------------------------

class ObjectName : public ExportedNames, public testing::WithParamInterface<const char *>
{
};

TEST_P(ObjectName, isExportedAsItIsWritten)
{
    EXPECT_TRUE(offers(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Objects, ObjectName,
                         testing::Values("PLC_driver", "DataStorage", "handshake", "LB", "LW", "RWI"),
                         [](const auto &row) { return std::string(row.param); });

// --- inside functions ---------------------------------------------------------------------------

class CppName : public ExportedNames, public testing::WithParamInterface<NameRow>
{
};

TEST_P(CppName, isExportedWithItsArgumentTypesAlone)
{
    EXPECT_TRUE(offers(GetParam().symbol));
    EXPECT_FALSE(offers(GetParam().name)) << "a plain name would belong to the host interface";
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Functions, CppName, testing::Values(
    NameRow{"getOffsetAddress",     "_Z16getOffsetAddressi"},
    NameRow{"passRetValue",         "_Z12passRetValueRK6RW_VARRS_"},
    NameRow{"Ethernetcontains",     "_Z16Ethernetcontainsi"},
    NameRow{"GetDriverReturnValue", "_Z20GetDriverReturnValuei"},
    NameRow{"SwitchErrorReturn",    "_Z17SwitchErrorReturni"},
    NameRow{"Handshake_Check",      "_Z15Handshake_CheckP10QByteArray"},
    NameRow{"CheckGetData",         "_Z12CheckGetDataP10QByteArrayi"},
    NameRow{"DealDataOfLocalArea",  "_Z19DealDataOfLocalAreaP10QByteArrayi"},
    NameRow{"DealDataOfRemoteArea", "_Z20DealDataOfRemoteAreaP10QByteArrayi"},
    NameRow{"CalSUM",               "_Z6CalSUMPKht"},
    NameRow{"CalCRC",               "_Z6CalCRCPKht"},
    NameRow{"CalLRC",               "_Z6CalLRCPKht"},
    NameRow{"CalXOR",               "_Z6CalXORPKht"},
    NameRow{"DigitalToASCII",       "_Z14DigitalToASCIIi"},
    NameRow{"ASCIIToDigital",       "_Z14ASCIIToDigitali"},
    NameRow{"ReadRegister",         "_Z12ReadRegisterP6RW_VAR"},
    NameRow{"ReadAnalog",           "_Z10ReadAnalogP6RW_VAR"},
    NameRow{"WriteRegister",        "_Z13WriteRegisterP6RW_VAR"},
    NameRow{"WriteAnalog",          "_Z11WriteAnalogP6RW_VAR"},
    NameRow{"ControlCenter",        "_Z13ControlCenterP6RW_VAR"},
    NameRow{"Handshake",            "_Z9HandshakeP6RW_VAR"},
    NameRow{"Remote_ReadVar",       "_Z14Remote_ReadVarP6RW_VAR"},
    NameRow{"Remote_WriteVar",      "_Z15Remote_WriteVarP6RW_VAR"},
    NameRow{"StringAddressToInt",   "_Z18StringAddressToInti7QString"},
    NameRow{"updateRwVar",          "_Z11updateRwVarP6RW_VAR"},
    NameRow{"Bubble_Sort",          "_Z11Bubble_SortP5QListI6RW_VARE"},
    NameRow{"BitVarReCreat_3",      "_Z15BitVarReCreat_3P5QListI6RW_VAREi"},
    NameRow{"getPlcReg",            "_Z9getPlcRegi"},
    NameRow{"checkTheStorage",      "_Z15checkTheStorageR19ControlInformationM"},
    NameRow{"SaveToLocalDataErea",  "_Z19SaveToLocalDataEreaP10QByteArray"},
    NameRow{"SpecialRegisterSave",  "_Z19SpecialRegisterSaveP10QByteArray"},
    NameRow{"WriteDataToLocal",     "_Z16WriteDataToLocalP6RW_VAR"}),
    nameOfRow<NameRow>);
// clang-format on

// --- a host that knows nothing but names --------------------------------------------------------

TEST_F(ExportedNames, setUpCallsReachTheDriver)
{
    ComInfo block;
    block.stateWord10 = 5;
    call<void(ComInfo *)>("SetComInfo")(&block);
    EXPECT_EQ(PLC_driver.comInfo, &block);
    EXPECT_EQ(block.stateWord10, 0);

    call<void(NotifyCallback, ErrorCallback)>("RegistCallBackFuncIntf")(nullptr, nullptr);
    EXPECT_EQ(PLC_driver.notifyCallback, nullptr);
    EXPECT_EQ(PLC_driver.errorCallback, nullptr);

    int local = 0;
    call<void(void *, void *, void *)>("FlashLocalRegister")(&local, nullptr, &local);
    EXPECT_EQ(LB, &local);
    EXPECT_EQ(LW, nullptr);
    EXPECT_EQ(RWI, &local);

    EXPECT_EQ(call<int()>("QueryFinishFlag")(), 1);
}

TEST_F(ExportedNames, stationCallsReachTheDriver)
{
    call<void(int, int)>("EnableEthernet")(3, 0);
    EXPECT_EQ(Ethernetcontains(3), 1);
    call<void(int, int)>("EnCommStation")(3, 1);
    EXPECT_EQ(Ethernetcontains(3), 0);
}

TEST_F(ExportedNames, variablesAreRegisteredAndParsed)
{
    EXPECT_EQ(call<int(int, QString)>("PLCAddressChangeIntef")(AREA_R, QStringLiteral("1012")), 172);

    RW_VAR var = variable(AREA_DM, 0, 1);
    EXPECT_EQ(call<int(RW_VAR *)>("AddListReadVar")(&var), 1);
    EXPECT_EQ((call<int(RW_VAR *, int)>("AddListWriteVar")(&var, 1)), 1);
    EXPECT_EQ((call<int(RW_VAR *, int)>("AddListOnceReadVar")(&var, 1)), 1);

    QList<HOSTVAR> screen{HOSTVAR{0, AREA_DM, 1, 0, 0, QStringLiteral("7"), QString(), 1}};
    EXPECT_EQ(call<int(QList<HOSTVAR> *)>("ReCreatReadVarList")(&screen), 1);
    EXPECT_EQ(takeLines(), (Lines{"************ fenzu ***********", "1 10 7 1"}));
}

TEST_F(ExportedNames, aValueGoesOutAndComesBack)
{
    link(1);
    const auto set = call<int(QString, int, QString, int, QByteArray, int, int, int)>("SetRegisterData");
    const auto get = call<int(int, int, QString, int, QByteArray *, int)>("GetRegisterData");
    const auto next = call<quintptr()>("ComCommunication");
    const auto take = call<quintptr(QByteArray *, int)>("DataCom");

    EXPECT_EQ(set(QString(), AREA_DM, QStringLiteral("200"), 1, bytes("34 12"), 1, 5, 50), 1);
    const Protocol *frame = reinterpret_cast<const Protocol *>(next());
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->frame, QByteArray("WRS DM200.U 1 04660\r"));
    QByteArray reply("OK\r\n");
    EXPECT_EQ(reinterpret_cast<const RW_VAR *>(take(&reply, 4))->result, 1);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});

    QByteArray out;
    EXPECT_EQ(get(0, AREA_DM, QStringLiteral("200"), 1, &out, 1), 1);
    EXPECT_EQ(hex(out), "34 12");
}

// --- who the driver is --------------------------------------------------------------------------

// The library as a host loads that knows nothing of Qt.
class Identity : public testing::Test
{
protected:
    void SetUp() override { ASSERT_NE(m_library, nullptr) << dlerror(); }
    void TearDown() override { dlclose(m_library); }

    template <class Function>
    Function *call(const char *name) const
    {
        return reinterpret_cast<Function *>(dlsym(m_library, name));
    }

private:
    void *m_library = dlopen(KV_DRIVER_PATH, RTLD_NOW | RTLD_LOCAL);
};

TEST_F(Identity, namesTheLibraryItsVersionItsQtAndItsAbi)
{
    const auto identity = call<const char *()>("KvDriverIdentity");
    ASSERT_NE(identity, nullptr);
#if QT_VERSION_MAJOR == 5
    EXPECT_STREQ(identity(), "Communication_Protocol 0.2.0 qt5 abi1");
#else
    EXPECT_STREQ(identity(), "Communication_Protocol 0.2.0 qt6 abi1");
#endif
}

TEST_F(Identity, isAlsoTwoNumbers)
{
    const auto qtMajor = call<int()>("KvDriverQtMajor");
    const auto abi = call<int()>("KvDriverAbi");
    ASSERT_NE(qtMajor, nullptr);
    ASSERT_NE(abi, nullptr);
    EXPECT_EQ(qtMajor(), QT_VERSION_MAJOR);
    EXPECT_EQ(abi(), 1);
    EXPECT_EQ(abi(), kvDriverAbi) << "the number in the header that hosts compile against";
}

TEST_F(Identity, isTheSameForAProgramThatIsLinkedWithTheDriver)
{
    EXPECT_STREQ(KvDriverIdentity(), call<const char *()>("KvDriverIdentity")());
    EXPECT_EQ(KvDriverQtMajor(), QT_VERSION_MAJOR);
    EXPECT_EQ(KvDriverAbi(), kvDriverAbi);
}

// --- a program that is linked with it -----------------------------------------------------------

TEST_F(ExportedNames, everyInsideFunctionCanBeCalled)
{
    RW_VAR var = variable(AREA_DM, 1, 1);
    RW_VAR other;
    QByteArray reply("00007\r\n");
    const quint8 digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

    EXPECT_EQ(getOffsetAddress(5), 0);
    passRetValue(var, other);
    EXPECT_EQ(other.ownerId, 50);
    EXPECT_EQ(Ethernetcontains(1), 0);
    EXPECT_EQ(CalSUM(digits, 9), 477);
    EXPECT_EQ(CalCRC(digits, 9), 0x4B37);
    EXPECT_EQ(CalLRC(digits, 9), 0x23);
    EXPECT_EQ(CalXOR(digits, 9), 0x31);
    EXPECT_EQ(DigitalToASCII(10), 'A');
    EXPECT_EQ(ASCIIToDigital('F'), 15);
    EXPECT_EQ(StringAddressToInt(AREA_B, QStringLiteral("1F3")), 0x1F3);
    EXPECT_EQ(getPlcReg(AREA_TS), AREA_T);

    EXPECT_EQ(ControlCenter(&var), 0U);
    Handshake(&var);
    link(1);
    ReadRegister(&var);
    ReadAnalog(&var);
    var.data = bytes("02 00");
    WriteRegister(&var);
    WriteAnalog(&var);
    EXPECT_EQ(frames(), (Lines{"CR\r\n", "CR\r\n", "RDS DM1.U 1\r", "RDS DM1.U 1\r", "WRS DM1.U 1 00002\r",
                               "WRS DM1.U 1 00002\r"}));
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)"}));
    PLC_driver.frameQueue.clear();
    Remote_WriteVar(&var);
    PLC_driver.frameQueue.clear();
    Remote_ReadVar(&var);
    EXPECT_EQ(PLC_driver.frameQueue.size(), 1);

    EXPECT_EQ(GetDriverReturnValue(0), 1);
    EXPECT_EQ(SwitchErrorReturn(10), 16);
    EXPECT_EQ(Handshake_Check(&reply), 0);
    EXPECT_EQ(CheckGetData(&reply, 7), 1);
    EXPECT_EQ(DealDataOfLocalArea(&reply, 7), 1);
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 7), 100);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(image(1, 10, 2, 2), "07 00");
    SpecialRegisterSave(&reply);
    WriteDataToLocal(&var);
    EXPECT_EQ(image(1, 10, 2, 2), "02 00");

    ControlInformationM range{1, AREA_EM, 0, 2};
    checkTheStorage(range);
    EXPECT_EQ(image(1, 11), "00 00 00 00");
    RW_VAR bit = variable(AREA_R, 175, 2);
    EXPECT_EQ(updateRwVar(&bit), 0);
    EXPECT_EQ(bit.count, 2);
    QList<RW_VAR> list{variable(AREA_DM, 9, 1), variable(AREA_DM, 3, 1)};
    Bubble_Sort(&list);
    EXPECT_EQ(list.at(0).address, 3);
    BitVarReCreat_3(&list, 64);
    EXPECT_EQ(PLC_driver.readList.size(), 1);
}
} // namespace
