// SPDX-License-Identifier: MIT
// Private copies of a shared library. See private_copy.h.
#include "driver/private_copy.h"

#include "transport/system_error.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace kvlink
{

namespace
{

bool writeAll(int descriptor, const QByteArray &bytes)
{
    for (qint64 done = 0; done < bytes.size();) {
        const ssize_t written = ::write(descriptor, bytes.constData() + done, size_t(bytes.size() - done));
        if (written < 0 && errno != EINTR)
            return false;
        done += written > 0 ? written : 0;
    }
    return true;
}

std::optional<CopyPlace> filled(const CopyPlace &place, const QByteArray &bytes, QString &problem)
{
    if (writeAll(place.descriptor, bytes))
        return place;
    problem = systemErrorText(errno);
    ::close(place.descriptor);
    if (place.isTemporary)
        ::unlink(place.path.constData());
    return std::nullopt;
}

template <typename Record>
std::optional<Record> recordAt(const QByteArray &bytes, quint64 position)
{
    Record record;
    const auto size = quint64(bytes.size());
    if (position > size || size - position < sizeof(Record))
        return std::nullopt;
    std::memcpy(&record, bytes.constData() + position, sizeof(Record));
    return record;
}

bool isForThisMachine(const ElfW(Ehdr) & header)
{
    const unsigned char ownClass = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
    return header.e_ident[EI_CLASS] == ownClass && header.e_phentsize == sizeof(ElfW(Phdr));
}

// End of the last segment that is loaded; 0 if there is none within the file.
quint64 endOfSegments(const QByteArray &bytes, const ElfW(Ehdr) & header)
{
    quint64 end = 0;
    for (int i = 0; i < header.e_phnum; ++i) {
        const auto segment = recordAt<ElfW(Phdr)>(bytes, header.e_phoff + quint64(i) * header.e_phentsize);
        if (!segment)
            return 0;
        if (segment->p_type == PT_LOAD)
            end = qMax(end, quint64(segment->p_offset) + segment->p_filesz);
    }
    return end <= quint64(bytes.size()) ? end : 0;
}

// The copy's library, or null with what the loader says; \a file stands for the copy's name in it.
void *loadFrom(const CopyPlace &place, const QString &file, QString &problem)
{
    void *handle = ::dlopen(place.path.constData(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        // The loader keeps its message for each thread.
        problem = QString::fromLocal8Bit(::dlerror()); // NOLINT(concurrency-mt-unsafe)
        problem.replace(QString::fromLocal8Bit(place.path), file);
    }
    // What is mapped lasts without its name. A descriptor lasts too: its number is the name
    // of the copy.
    if (place.isTemporary)
        ::unlink(place.path.constData());
    if (place.isTemporary || handle == nullptr)
        ::close(place.descriptor);
    return handle;
}

} // namespace

std::optional<CopyPlace> copyToMemory(const QByteArray &bytes, QString &problem)
{
    const int descriptor = ::memfd_create("plc-driver", MFD_CLOEXEC);
    if (descriptor < 0) {
        problem = systemErrorText(errno);
        return std::nullopt;
    }
    return filled({"/proc/self/fd/" + QByteArray::number(descriptor), descriptor, false}, bytes, problem);
}

std::optional<CopyPlace> copyToTemporaryFile(const QByteArray &bytes, QString &problem)
{
    QByteArray path = QFile::encodeName(QDir::tempPath() + QStringLiteral("/plc-driver-XXXXXX"));
    const int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0) {
        problem = systemErrorText(errno);
        return std::nullopt;
    }
    return filled({path, descriptor, true}, bytes, problem);
}

std::optional<QByteArray> loadablePart(const QString &file, QString &problem)
{
    QFile content(file);
    if (!QFileInfo(file).isFile()) { // a device would be read without an end
        problem = QStringLiteral("it is not a file");
        return std::nullopt;
    }
    if (!content.open(QIODevice::ReadOnly)) {
        problem = content.errorString();
        return std::nullopt;
    }
    const uchar *mapped = content.map(0, content.size());
    const auto whole = mapped == nullptr ? QByteArray()
                                         : QByteArray::fromRawData(reinterpret_cast<const char *>(mapped),
                                                                   int(content.size()));
    const auto header = recordAt<ElfW(Ehdr)>(whole, 0);
    if (!header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0) {
        problem = QStringLiteral("it is not a shared library");
        return std::nullopt;
    }
    if (!isForThisMachine(*header)) {
        problem = QStringLiteral("it is built for another kind of machine");
        return std::nullopt;
    }
    const quint64 end = endOfSegments(whole, *header);
    if (end < sizeof(*header)) {
        problem = QStringLiteral("the file is cut short");
        return std::nullopt;
    }
    QByteArray part(whole.constData(), int(end)); // a copy of its own: the mapping ends with the file
    // The table of sections was left off; a debugger would look for it.
    ElfW(Ehdr) withoutSections = *header;
    withoutSections.e_shoff = 0;
    withoutSections.e_shnum = 0;
    withoutSections.e_shstrndx = 0;
    std::memcpy(part.data(), &withoutSections, sizeof(withoutSections));
    return part;
}

void *loadPrivateCopy(const QString &file, const std::vector<CopyMaker> &makers, QString &problem)
{
    const std::optional<QByteArray> bytes = loadablePart(file, problem);
    if (!bytes)
        return nullptr;
    for (const CopyMaker &make : makers) {
        const std::optional<CopyPlace> place = make(*bytes, problem);
        if (!place)
            continue;
        if (void *handle = loadFrom(*place, file, problem))
            return handle;
    }
    return nullptr;
}

} // namespace kvlink
