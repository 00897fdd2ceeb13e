// SPDX-License-Identifier: MIT
// Refusing what is not the driver, and keeping its private copies. See driver_library.h.
#include "driver/driver_library.h"

#include <QFile>
#include <QStringList>

#include <dlfcn.h>
#include <sys/stat.h>

namespace kvlink
{

namespace
{

template <typename Function>
void find(void *handle, const char *name, Function &call, QStringList &missing)
{
    call = reinterpret_cast<Function>(::dlsym(handle, name));
    if (call == nullptr)
        missing << QString::fromLatin1(name);
}

QStringList findCalls(void *handle, DriverCalls &calls)
{
    QStringList missing;
    find(handle, "SetComInfo", calls.setComInfo, missing);
    find(handle, "RegistCallBackFuncIntf", calls.registCallBackFuncIntf, missing);
    find(handle, "FlashLocalRegister", calls.flashLocalRegister, missing);
    find(handle, "QueryFinishFlag", calls.queryFinishFlag, missing);
    find(handle, "ComCommunication", calls.comCommunication, missing);
    find(handle, "DataCom", calls.dataCom, missing);
    find(handle, "EnableEthernet", calls.enableEthernet, missing);
    find(handle, "EnCommStation", calls.enCommStation, missing);
    find(handle, "PLCAddressChangeIntef", calls.plcAddressChangeIntef, missing);
    find(handle, "AddListReadVar", calls.addListReadVar, missing);
    find(handle, "AddListWriteVar", calls.addListWriteVar, missing);
    find(handle, "AddListOnceReadVar", calls.addListOnceReadVar, missing);
    find(handle, "SetRegisterData", calls.setRegisterData, missing);
    find(handle, "ReCreatReadVarList", calls.reCreatReadVarList, missing);
    find(handle, "GetRegisterData", calls.getRegisterData, missing);
    return missing;
}

/// What the library says of itself, by plain calls that are safe whatever Qt it was built with.
/// Empty: all is well.
QString identityRefusal(void *handle)
{
    decltype(&::KvDriverIdentity) identity = nullptr;
    decltype(&::KvDriverQtMajor) qtMajor = nullptr;
    decltype(&::KvDriverAbi) abi = nullptr;
    QStringList missing;
    find(handle, "KvDriverIdentity", identity, missing);
    find(handle, "KvDriverQtMajor", qtMajor, missing);
    find(handle, "KvDriverAbi", abi, missing);
    if (!missing.isEmpty())
        return QStringLiteral(
                   "it does not say who it is (no call %1); it is another library, or older than 0.2.0")
            .arg(missing.first());
    const QString said = QString::fromUtf8(identity());
    if (!said.startsWith(QStringLiteral("Communication_Protocol ")))
        return QStringLiteral("it is '%1', not the driver").arg(said);
    if (qtMajor() != QT_VERSION_MAJOR)
        return QStringLiteral("it is built with Qt %1, this program with Qt %2; install the driver for Qt %2")
            .arg(qtMajor())
            .arg(QT_VERSION_MAJOR);
    if (abi() != kvDriverAbi)
        return QStringLiteral(
                   "its ABI number is %1, and kvlink needs %2; install driver and kvlink of one version")
            .arg(abi())
            .arg(kvDriverAbi);
    return {};
}

/// Why the library is not the driver that kvlink needs; empty: it is, and its calls were found.
QString refusalOf(void *handle, DriverCalls &calls)
{
    QString refusal = identityRefusal(handle);
    if (!refusal.isEmpty())
        return refusal;
    const QStringList missing = findCalls(handle, calls);
    if (missing.isEmpty())
        return {};
    return QStringLiteral("it lacks the call%1 %2")
        .arg(QString::fromLatin1(missing.size() == 1 ? "" : "s"), missing.join(QStringLiteral(", ")));
}

/// Tells one file from another, and from what a newer installation put in its place. Empty: there
/// is no such file.
QByteArray keyOf(const QString &file)
{
    struct stat facts = {};
    if (::stat(QFile::encodeName(file).constData(), &facts) != 0)
        return {};
    return QByteArray::number(quint64(facts.st_dev)) + '/' + QByteArray::number(quint64(facts.st_ino)) + '/' +
           QByteArray::number(qint64(facts.st_size)) + '/' +
           QByteArray::number(qint64(facts.st_mtim.tv_sec)) + '.' +
           QByteArray::number(qint64(facts.st_mtim.tv_nsec));
}

} // namespace

DriverLibrary::DriverLibrary(std::vector<CopyMaker> makers) : m_makers(std::move(makers)) {}

DriverLibrary &DriverLibrary::shared()
{
    // On purpose: never destroyed, since links may outlive the static objects of the program.
    static auto *library = new DriverLibrary;
    return *library;
}

DriverCopy *DriverLibrary::take(const QString &file, QString &problem)
{
    const QByteArray key = keyOf(file);
    if (key.isEmpty()) {
        problem = QStringLiteral("the driver library %1 does not exist; check the path").arg(file);
        return nullptr;
    }
    const std::lock_guard lock(m_mutex);
    if (m_refused.contains(key)) {
        problem = m_refused.value(key);
        return nullptr;
    }
    QVector<DriverCopy *> &free = m_free[key];
    if (!free.isEmpty())
        return free.takeLast();
    return load(file, key, problem);
}

void DriverLibrary::giveBack(DriverCopy *copy)
{
    const std::lock_guard lock(m_mutex);
    m_free[copy->file].append(copy);
}

int DriverLibrary::loaded() const
{
    const std::lock_guard lock(m_mutex);
    return int(m_all.size());
}

DriverCopy *DriverLibrary::load(const QString &file, const QByteArray &key, QString &problem)
{
    auto copy = std::make_unique<DriverCopy>();
    copy->file = key;
    copy->handle = loadPrivateCopy(file, m_makers, problem);
    if (copy->handle == nullptr) {
        problem = QStringLiteral("the driver library %1 cannot be loaded: %2").arg(file, problem);
        return nullptr;
    }
    const QString refusal = refusalOf(copy->handle, copy->calls);
    if (!refusal.isEmpty()) {
        problem = QStringLiteral("the driver library %1 cannot be used: %2").arg(file, refusal);
        m_refused.insert(key, problem);
        return nullptr;
    }
    m_all.push_back(std::move(copy));
    return m_all.back().get();
}

} // namespace kvlink
