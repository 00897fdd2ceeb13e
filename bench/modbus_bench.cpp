// SPDX-License-Identifier: MIT
// What a user would pick instead: libmodbus reading 120 registers from its own server, over
// the same loopback.
//
//   modbus_bench SECONDS [REGISTERS]  prints "exchanges N seconds S cpu C"; C: client's CPU seconds
//   modbus_bench --serve              prints "port P", serves client after client until killed
//
// The server runs in a process of its own, as kv-sim does. libmodbus sets TCP_NODELAY on
// both ends itself.
#include <modbus/modbus.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <netinet/in.h>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr const char *loopback = "127.0.0.1";
constexpr int mostRegisters = 125; // of one Modbus read

struct ModbusDeleter {
    void operator()(modbus_t *modbus) const
    {
        modbus_close(modbus);
        modbus_free(modbus);
    }
};
using Modbus = std::unique_ptr<modbus_t, ModbusDeleter>;

struct MappingDeleter {
    void operator()(modbus_mapping_t *mapping) const { modbus_mapping_free(mapping); }
};
using Mapping = std::unique_ptr<modbus_mapping_t, MappingDeleter>;

int fail(const char *what)
{
    std::fprintf(stderr, "modbus_bench: %s: %s\n", what, modbus_strerror(errno));
    return 3;
}

// The value of the server's register, which must come back.
std::uint16_t valueOf(int number)
{
    return std::uint16_t(number * 500 + 7);
}

Mapping filledRegisters()
{
    Mapping mapping(modbus_mapping_new(0, 0, mostRegisters, 0));
    for (int i = 0; mapping != nullptr && i < mostRegisters; ++i)
        mapping->tab_registers[i] = valueOf(i);
    return mapping;
}

// The loop of libmodbus' own servers: one client, until it leaves.
int serveClient(modbus_t *server, int listening, modbus_mapping_t *mapping)
{
    if (modbus_tcp_accept(server, &listening) < 0)
        return fail("the server's client");
    std::array<std::uint8_t, MODBUS_TCP_MAX_ADU_LENGTH> query{};
    for (;;) {
        const int length = modbus_receive(server, query.data());
        if (length < 0)
            return 0;
        if (length > 0 && modbus_reply(server, query.data(), length, mapping) < 0)
            return fail("the server's answer");
    }
}

int serve(modbus_t *server, int listening)
{
    const Mapping mapping = filledRegisters();
    return mapping == nullptr ? fail("the server's registers")
                              : serveClient(server, listening, mapping.get());
}

int portOf(int listening)
{
    sockaddr_in bound{};
    socklen_t size = sizeof bound;
    if (::getsockname(listening, reinterpret_cast<sockaddr *>(&bound), &size) != 0)
        return -1;
    return ntohs(bound.sin_port);
}

bool rightValues(const std::vector<std::uint16_t> &registers)
{
    for (std::size_t i = 0; i < registers.size(); ++i) {
        if (registers[i] != valueOf(int(i)))
            return false;
    }
    return true;
}

double cpuSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

int measure(int port, double seconds, int count)
{
    const Modbus client(modbus_new_tcp(loopback, port));
    if (client == nullptr || modbus_connect(client.get()) != 0)
        return fail("no link to the server");
    std::vector<std::uint16_t> registers(std::size_t(count), 0);
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const auto end =
        start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    long exchanges = 0;
    const double cpu = cpuSeconds();
    while (Clock::now() < end) {
        if (modbus_read_registers(client.get(), 0, count, registers.data()) != count)
            return fail("a read");
        ++exchanges;
    }
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    if (!rightValues(registers)) {
        std::fprintf(stderr, "modbus_bench: other values came than the server holds\n");
        return 3;
    }
    std::printf("exchanges %ld seconds %.6f cpu %.6f\n", exchanges, took, cpuSeconds() - cpu);
    return 0;
}

int run(double seconds, int count)
{
    const Modbus server(modbus_new_tcp(loopback, 0));
    const int listening = server == nullptr ? -1 : modbus_tcp_listen(server.get(), 1);
    if (listening < 0)
        return fail("no port for the server");
    const int port = portOf(listening);
    const pid_t child = ::fork();
    if (child < 0)
        return fail("no process for the server");
    if (child == 0)
        ::_exit(serve(server.get(), listening));
    ::close(listening);
    const int code = measure(port, seconds, count);
    if (code != 0)
        ::kill(child, SIGTERM);
    ::waitpid(child, nullptr, 0);
    return code;
}

// For clients of other programs; never returns but for an error.
int serveForever()
{
    const Modbus server(modbus_new_tcp(loopback, 0));
    const int listening = server == nullptr ? -1 : modbus_tcp_listen(server.get(), 1);
    if (listening < 0)
        return fail("no port for the server");
    const Mapping mapping = filledRegisters();
    if (mapping == nullptr)
        return fail("the server's registers");
    std::printf("port %d\n", portOf(listening));
    std::fflush(stdout);
    while (serveClient(server.get(), listening, mapping.get()) == 0)
        modbus_close(server.get());
    return 3;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && std::string_view(argv[1]) == "--serve")
        return serveForever();
    const double seconds = argc > 1 ? std::atof(argv[1]) : 0;
    const int count = argc > 2 ? std::atoi(argv[2]) : 120;
    if (argc > 3 || !(seconds > 0 && seconds <= 3600) || count < 1 || count > mostRegisters) {
        std::fprintf(stderr, "use: modbus_bench SECONDS [REGISTERS, 1 to %d] or modbus_bench --serve\n",
                     mostRegisters);
        return 2;
    }
    return run(seconds, count);
}
