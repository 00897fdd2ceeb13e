// SPDX-License-Identifier: MIT
// Configurations of kv-gateway: every problem says what is wrong and where, and numbers stay within
// their limits. No PLC is dialled, and no tag file is there.
#include "config/config_file.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace kvgateway;
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    // Without a driver nothing is loaded for each PLC.
    const LoadedConfig loaded =
        parseConfig(bytes, QStringLiteral("/nowhere/gateway.toml"), QStringLiteral("/nowhere/driver.so"));
    const int lines = int(bytes.count('\n')) + 1;
    for (const Problem &problem : loaded.problems) {
        require(!problem.text.isEmpty(), "a problem says what is wrong");
        require(problem.line >= 0 && problem.line <= lines + 1, "a problem has its line");
        require(problem.shown().startsWith(QLatin1Char('/')), "a problem names its file");
    }
    require(!loaded.problems.empty(), "a PLC without a driver or a tag file is no PLC");
    const ListenConfig &listen = loaded.config.listen;
    require(listen.connections >= 1 && listen.connections <= 10'000, "connections are limited");
    require(listen.certificate.isEmpty() && listen.key.isEmpty(), "a file that is not there is not taken");
    for (const PlcConfig &plc : loaded.config.plcs)
        require(plc.link.timeout >= std::chrono::milliseconds(1) && plc.link.maxBlock >= 1,
                "a link has settings within their limits");
    return 0;
}
