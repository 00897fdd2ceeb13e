// SPDX-License-Identifier: MIT
// Finding the driver library, refusing what is not it, and keeping its private copies. See driver_library.h.
#include "driver/driver_library.h"

#include <QFile>
#include <QFileInfo>

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

/// Tells one file from another, and from what a newer installation put in its place. Empty: there is no such file.
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
        problem = QStringLiteral("the driver library %1 does not exist").arg(file);
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
    const QStringList missing = findCalls(copy->handle, copy->calls);
    if (!missing.isEmpty()) {
        problem = QStringLiteral("%1 is not the driver: it lacks the call%2 %3")
                      .arg(file, QString::fromLatin1(missing.size() == 1 ? "" : "s"),
                           missing.join(QStringLiteral(", ")));
        m_refused.insert(key, problem);
        return nullptr;
    }
    m_all.push_back(std::move(copy));
    return m_all.back().get();
}

QStringList standardDriverPlaces()
{
    return {};
}

QString findDriver(const QString &wanted, const QStringList &places, QString &problem)
{
    if (!wanted.isEmpty())
        return wanted;
    for (const QString &place : places) {
        if (QFileInfo::exists(place))
            return place;
    }
    problem = QStringLiteral("no driver library found; looked for %1").arg(places.join(QStringLiteral(", ")));
    return {};
}

} // namespace kvlink
