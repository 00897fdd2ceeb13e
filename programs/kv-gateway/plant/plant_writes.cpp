// SPDX-License-Identifier: MIT
// Writes and push buttons of the plant: what is asked for, what is forbidden, how it ends.
#include "plant.h"

namespace kvgateway
{

namespace
{

constexpr std::size_t mostEndedButtons = 100;

} // namespace

std::optional<Plant::OpenWrite> Plant::begin(const WriteOrder &order, const WriteEnd &end, bool isPress,
                                             PlcLink *&link, kvlink::Tag &tag)
{
    using kvlink::Reason;
    OpenWrite write;
    write.report.order = order;
    write.end = end;
    const int index = m_links.empty() ? -1 : m_table->find(order.tag);
    if (index < 0) {
        finish(write, kvlink::Outcome::NotSent, Reason::InvalidValue,
               QStringLiteral("there is no tag \"%1\"; nothing was sent").arg(order.tag));
        return std::nullopt;
    }
    const TableTag &known = m_table->tags()[std::size_t(index)];
    link = m_links[std::size_t(known.plc)].get();
    tag = link->tagAt(index);
    write.report.plc = link->config().name;
    write.report.oldValue = m_table->sample(index).value;
    Reason reason = Reason::None;
    const QString problem =
        isPress ? pressProblem(known.config, reason) : writeProblem(known.config, order.value, reason);
    if (!problem.isEmpty()) {
        finish(write, kvlink::Outcome::NotSent, reason, problem + "; nothing was sent");
        return std::nullopt;
    }
    if (!m_observer.writeAsked(write.report)) {
        finish(
            write, kvlink::Outcome::NotSent, Reason::QueueFull,
            QStringLiteral("the record of writes cannot be kept, so nothing was sent: see to the disk of the "
                           "gateway"));
        return std::nullopt;
    }
    return write;
}

void Plant::finish(OpenWrite &write, kvlink::Outcome outcome, kvlink::Reason reason, const QString &text)
{
    write.report.outcome = outcome;
    write.report.reason = reason;
    write.report.text = text;
    m_observer.writeEnded(write.report);
    write.end(write.report);
}

void Plant::write(const WriteOrder &order, const WriteEnd &end)
{
    PlcLink *link = nullptr;
    kvlink::Tag tag;
    auto write = begin(order, end, false, link, tag);
    if (!write)
        return;
    kvlink::WriteOptions options;
    options.expires = order.expires;
    const kvlink::WriteId id = link->plc().write(tag, order.value, options);
    m_writes.emplace(WriteKey(link, id), std::move(*write));
}

ButtonId Plant::press(const WriteOrder &order, const WriteEnd &end)
{
    PlcLink *link = nullptr;
    kvlink::Tag tag;
    WriteOrder pressed = order;
    pressed.value = true;
    auto write = begin(pressed, end, true, link, tag);
    if (!write)
        return 0;
    auto momentary = link->plc().momentary(tag);
    if (!momentary) {
        finish(*write, kvlink::Outcome::NotSent, kvlink::Reason::InvalidValue,
               QStringLiteral("%1 is not a push button; nothing was sent").arg(order.tag));
        return 0;
    }
    const kvlink::WriteId id = momentary->press();
    write->button = ++m_lastButton;
    m_writes.emplace(WriteKey(link, id), std::move(*write));
    m_buttons.emplace(m_lastButton, Button{std::move(momentary), order.who});
    return m_lastButton;
}

bool Plant::renew(ButtonId button, const QString &who)
{
    const auto found = m_buttons.find(button);
    if (found == m_buttons.end() || found->second.who != who || !found->second.momentary->isPressed())
        return false;
    found->second.momentary->renew();
    return true;
}

bool Plant::release(ButtonId button, const QString &who)
{
    const auto found = m_buttons.find(button);
    if (found == m_buttons.end() || found->second.who != who)
        return false;
    found->second.momentary->release();
    return true;
}

std::optional<WriteReport> Plant::endOf(ButtonId button, const QString &who) const
{
    const auto found = m_endedButtons.find(button);
    if (found == m_endedButtons.end() || found->second.order.who != who)
        return std::nullopt;
    return found->second;
}

void Plant::onWritten(PlcLink &link, const kvlink::WriteResult &result)
{
    const auto found = m_writes.find(WriteKey(&link, result.id));
    if (found == m_writes.end())
        return;
    OpenWrite write = std::move(found->second);
    m_writes.erase(found);
    write.report.time = result.time;
    finish(write, result.outcome, result.reason, result.text);
    if (write.button == 0)
        return;
    m_buttons.erase(write.button);
    m_endedButtons.emplace(write.button, write.report);
    if (m_endedButtons.size() > mostEndedButtons)
        m_endedButtons.erase(m_endedButtons.begin());
}

} // namespace kvgateway
