// SPDX-License-Identifier: MIT
#include "api/plc_core.h"

namespace kvlink
{

Momentary::Momentary(std::shared_ptr<PlcCore> core, Tag relay) : m_core(std::move(core)), m_relay(relay) {}

Momentary::~Momentary()
{
    release();
}

WriteId Momentary::press()
{
    const WriteId id = m_core->newId();
    WriteId pressed = 0;
    if (!m_press.compare_exchange_strong(pressed, id))
        return pressed;
    m_core->writes().press(id, m_relay);
    return id;
}

void Momentary::renew()
{
    if (const WriteId pressed = m_press; pressed != 0)
        m_core->writes().renew(pressed);
}

void Momentary::release()
{
    if (const WriteId pressed = m_press.exchange(0); pressed != 0)
        m_core->writes().release(pressed);
}

bool Momentary::isPressed() const
{
    return m_press != 0;
}

} // namespace kvlink
