// SPDX-License-Identifier: MIT
// Commands of hosts as Sparkplug B: refused with a reason, or a value that fits the type of its tag
// and is sent and read back the same. What hosts say of themselves is read as well.
#include "outlets/host_state.h"
#include "outlets/sparkplug_command.h"
#include "outlets/sparkplug_types.h"
#include "require.h"

#include <kvlink/text.h>

namespace
{

using namespace kvgateway;

const char *const addresses[] = {"DM0",       "DM0.S", "DM0.D",   "DM0.L",   "DM0.F", "R0",
                                 "DM0.STR:8", "DM0:3", "DM0.L:2", "DM0.F:2", "R0-R9", "DM0.D:2"};

std::vector<TagConfig> tags()
{
    std::vector<TagConfig> all;
    for (const char *address : addresses) {
        QString problem;
        const auto parsed = kvlink::AddressInfo::parse(address, problem);
        require(parsed.has_value(), "an address is one");
        TagConfig tag;
        tag.name = QStringLiteral("a.t%1").arg(all.size());
        tag.settings.address = address;
        tag.kind = parsed->kind();
        tag.count = parsed->values();
        all.push_back(tag);
    }
    return all;
}

void requireFits(const SparkplugWrite &write, SparkplugDevices &devices)
{
    SparkplugDevice *device = nullptr;
    const SparkplugTag *tag = devices.findTag(write.tag, device);
    require(tag != nullptr, "a write has a tag");
    SparkplugMetric sent;
    require(setSparkplugValue(sent, write.value, tag->type, UInt32As::LongValue), "its value fits the tag");
    QString problem;
    const bool isNumber = write.value == write.value; // NaN is not the same as itself
    if (isNumber && !sent.isNull)
        require(valueOfCommand(sent, tag->type, problem) == write.value, "it is read back the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static SparkplugDevices devices = [] {
        SparkplugDevices made(UInt32As::LongValue, 1);
        made.setTags(tags(), [](SparkplugDevice & /*device*/) {});
        return made;
    }();
    MqttReceived message;
    message.payload = QByteArray(reinterpret_cast<const char *>(data), int(size));
    HostState().take(message.payload);
    for (const QString &plc : {QString(), QStringLiteral("a")}) {
        const SparkplugOrders orders = readSparkplugCommand(message, plc, devices);
        for (const SparkplugRefusal &refusal : orders.refusals)
            require(!refusal.why.isEmpty(), "a refusal says why");
        for (const SparkplugWrite &write : orders.writes)
            requireFits(write, devices);
        message.isRetained = true;
        require(readSparkplugCommand(message, plc, devices).writes.empty(), "nothing retained is written");
        message.isRetained = false;
    }
    return 0;
}
