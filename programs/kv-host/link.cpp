#include "link.h"

#include "serial_link.h"
#include "socket_link.h"

namespace kvhost
{

std::unique_ptr<Link> makeLink(const PlcUrl &url, std::function<void()> wake)
{
    if (url.kind == PlcUrl::Kind::Serial)
        return std::make_unique<SerialLink>(url, std::move(wake));
    return std::make_unique<SocketLink>(url, std::move(wake));
}

} // namespace kvhost
