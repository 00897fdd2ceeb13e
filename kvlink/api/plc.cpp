// SPDX-License-Identifier: MIT
#include <kvlink/plc.h>

#include "api/plc_core.h"

#include <QPointer>
#include <QThread>

namespace kvlink
{
namespace
{
LinkSettings linkTo(const QString &url)
{
    LinkSettings settings;
    settings.url = url;
    return settings;
}
} // namespace

Plc::Plc(const QString &url, QObject *parent) : Plc(linkTo(url), parent) {}

Plc::Plc(const LinkSettings &settings, QObject *parent)
    : QObject(parent), m_core(std::make_shared<PlcCore>(settings))
{
    qRegisterMetaType<Tag>();
    qRegisterMetaType<Sample>();
    qRegisterMetaType<WriteResult>();
    qRegisterMetaType<LinkStatus>();
    qRegisterMetaType<QueryResult>();
    // One posted event however much happens: the mailbox calls again only when a
    // delivery has begun.
    m_core->mailbox().setFilledHook([this] {
        QMetaObject::invokeMethod(
            this, [this] { deliver(); }, Qt::QueuedConnection);
    });
}

Plc::~Plc()
{
    m_core->mailbox().setFilledHook({}); // push buttons may keep the core longer than this
    m_core->stop();
}

QString Plc::problem() const
{
    return m_core->problem();
}

bool Plc::lacksDriver() const
{
    return m_core->fault() == PlcCore::Fault::Driver;
}

LinkSettings Plc::settings() const
{
    return m_core->settings();
}

bool Plc::start()
{
    return m_core->start();
}

void Plc::stop()
{
    m_core->stop();
}

// --- tags ----------------------------------------------------------------------------------------

Tag Plc::tag(const QString &address, QString *problem)
{
    TagSettings settings;
    settings.address = address;
    return m_core->addTag(settings, problem);
}

Tag Plc::tag(const TagSettings &settings, QString *problem)
{
    return m_core->addTag(settings, problem);
}

std::vector<Tag> Plc::addTags(const std::vector<TagSettings> &settings, QStringList *problems)
{
    return m_core->addTags(settings, problems);
}

void Plc::removeTag(Tag tag)
{
    m_core->removeTag(tag);
}

void Plc::setPeriod(Tag tag, Duration period)
{
    m_core->setPeriod(tag, period);
}

TagSettings Plc::tagSettings(Tag tag) const
{
    return m_core->tagSettings(tag);
}

std::vector<Tag> Plc::tags() const
{
    return m_core->mailbox().tags();
}

// --- values --------------------------------------------------------------------------------------

Sample Plc::sample(Tag tag) const
{
    return m_core->sample(tag);
}

ReadId Plc::readNow(const std::vector<Tag> &tags)
{
    return m_core->readNow(tags);
}

std::vector<Sample> Plc::read(const std::vector<Tag> &tags, Duration longest)
{
    m_core->read(tags, longest);
    return m_core->samples(tags);
}

bool Plc::waitForChange(Duration longest)
{
    if (QThread::currentThread() != thread()) {
        qWarning("kvlink: waitForChange was called from another thread than the one its Plc lives in");
        return false;
    }
    if (!m_core->mailbox().wait(longest))
        return false;
    deliver();
    return true;
}

// Emits what waits now. What comes meanwhile is a later event of the loop, so that a receiver
// that is slow, or opens a dialog with a loop of its own, neither stops the program's other
// events nor misses ours.
void Plc::deliver()
{
    const QPointer<Plc> alive(this); // a slot may destroy this
    const std::shared_ptr<PlcCore> core = m_core;
    for (std::size_t left = core->mailbox().beginDelivery(); left > 0 && !alive.isNull(); --left) {
        const std::optional<Event> event = core->take();
        if (!event)
            return;
        if (const auto *change = std::get_if<Events::Change>(&*event))
            emit changed(change->tag, change->sample);
        else if (const auto *result = std::get_if<WriteResult>(&*event))
            emit writeFinished(*result);
        else if (const auto *status = std::get_if<LinkStatus>(&*event))
            emit linkChanged(*status);
        else if (const auto *read = std::get_if<ReadDone>(&*event))
            emit readFinished(read->id);
        else if (const auto *query = std::get_if<QueryResult>(&*event))
            emit queryFinished(*query);
    }
}

// --- writes --------------------------------------------------------------------------------------

WriteId Plc::write(Tag tag, const Value &value, const WriteOptions &options)
{
    return m_core->writes().write(tag, value, options);
}

WriteResult Plc::writeAndWait(Tag tag, const Value &value, const WriteOptions &options)
{
    const WriteId id = m_core->writes().write(tag, value, options, PlcWrites::End::Awaited);
    return m_core->writes().waitForWrite(id, Duration::max()).value_or(WriteResult());
}

WriteId Plc::writeText(Tag tag, const QString &typed, const WriteOptions &options)
{
    return m_core->writes().writeText(tag, typed, options);
}

WriteId Plc::pulse(Tag relay, Duration length)
{
    return m_core->writes().pulse(relay, length);
}

bool Plc::cancel(WriteId id)
{
    return m_core->writes().cancel(id);
}

int Plc::cancelAll()
{
    return m_core->writes().cancelAll();
}

std::unique_ptr<Momentary> Plc::momentary(Tag relay)
{
    QString problem;
    if (!m_core->writes().isButton(relay, problem))
        return nullptr;
    return std::unique_ptr<Momentary>(new Momentary(m_core, relay));
}

// --- link ----------------------------------------------------------------------------------------

LinkStatus Plc::link() const
{
    return m_core->mailbox().link();
}

bool Plc::waitForLink(Duration longest) const
{
    return m_core->mailbox().waitForLink(longest);
}

LinkStatistics Plc::statistics() const
{
    return m_core->statistics();
}

QStringList Plc::framesOfWrite(Tag tag, const QString &typed, QString *problem)
{
    QString why;
    QStringList frames = m_core->writes().framesOfWrite(tag, typed, why);
    if (problem != nullptr)
        *problem = why;
    return frames;
}

ReadPlan Plc::plan() const
{
    return m_core->plan();
}

QueryId Plc::query(const QString &command)
{
    return m_core->query(command);
}

} // namespace kvlink
