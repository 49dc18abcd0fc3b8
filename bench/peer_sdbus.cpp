// D-Bus by the sd-bus library: a method call with an array of bytes each way, through a daemon of
// the benchmark's own and over a socket pair.

#include <fcntl.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "bench/exchange_peer.h"

namespace bench {
namespace {

constexpr const char* kDaemonBus = "peer: D-Bus, through its daemon";
constexpr const char* kDirectBus = "peer: D-Bus, peer to peer";
constexpr double kDaemonAim = 1 / 5.0;
constexpr double kDirectAim = 1 / 1.3;

constexpr const char* kName = "org.ownerlink.Bench";
constexpr const char* kPath = "/bench";
constexpr const char* kMethod = "Exchange";
constexpr uint64_t kTimeOutUs = 5'000'000;

constexpr const char* kConfiguration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=@directory@/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

void Check(int result, const char* what)
{
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
    }
}

struct MessageEnd {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageEnd>;

struct BusEnd {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusEnd>;

Bus NewBus()
{
    sd_bus* bus = nullptr;
    Check(sd_bus_new(&bus), "sd_bus_new");
    return Bus(bus);
}

Bus BusOfDaemon(const std::string& address)
{
    Bus bus = NewBus();
    Check(sd_bus_set_address(bus.get(), address.c_str()), "sd_bus_set_address");
    Check(sd_bus_set_bus_client(bus.get(), 1), "sd_bus_set_bus_client");
    Check(sd_bus_start(bus.get()), "sd_bus_start");
    return bus;
}

Bus BusOfSocket(int socket, bool isServer)
{
    Bus bus = NewBus();
    Check(sd_bus_set_fd(bus.get(), socket, socket), "sd_bus_set_fd");
    if (isServer) {
        sd_id128_t id;
        Check(sd_id128_randomize(&id), "sd_id128_randomize");
        Check(sd_bus_set_server(bus.get(), 1, id), "sd_bus_set_server");
    }
    Check(sd_bus_start(bus.get()), "sd_bus_start");
    return bus;
}

void Read(sd_bus_message* message, PeerMessage& payload)
{
    const void* data = nullptr;
    size_t size = 0;
    Check(sd_bus_message_read_array(message, 'y', &data, &size), "sd_bus_message_read_array");
    if (size != payload.size()) {
        throw std::runtime_error("a D-Bus message of another size");
    }
    std::memcpy(payload.data(), data, size);
}

void Append(sd_bus_message* message, const PeerMessage& payload)
{
    Check(sd_bus_message_append_array(message, 'y', payload.data(), payload.size()),
          "sd_bus_message_append_array");
}

class BusConnection : public PeerConnection {
public:
    // `name` is null where there is no daemon to ask for it.
    BusConnection(Bus bus, const char* name, std::unique_ptr<RoleProcess> daemon,
                  std::unique_ptr<RoleProcess> process)
        : daemon_(std::move(daemon)),
          process_(std::move(process)),
          bus_(std::move(bus)),
          name_(name)
    {
    }

    void Exchange() override
    {
        sd_bus_message* call = nullptr;
        Check(sd_bus_message_new_method_call(bus_.get(), &call, name_, kPath, kName, kMethod),
              "sd_bus_message_new_method_call");
        const Message request(call);
        Append(request.get(), payload_);
        sd_bus_message* reply = nullptr;
        Check(sd_bus_call(bus_.get(), request.get(), kTimeOutUs, nullptr, &reply), "sd_bus_call");
        const Message response(reply);
        Read(response.get(), payload_);
    }

private:
    std::unique_ptr<RoleProcess> daemon_;
    std::unique_ptr<RoleProcess> process_;
    Bus bus_;
    const char* name_;
    PeerMessage payload_ = {};
};

std::unique_ptr<PeerConnection> ConnectThroughDaemon(const std::string& directory)
{
    auto daemon = std::make_unique<RoleProcess>(std::vector<std::string>{"dbus-daemon", directory});
    std::string address;
    if (!daemon->ReadLine(address)) {
        throw std::runtime_error("dbus-daemon does not start");
    }
    auto process = StartPeer(kDaemonBus, address);
    return std::make_unique<BusConnection>(BusOfDaemon(address), kName, std::move(daemon),
                                           std::move(process));
}

std::unique_ptr<PeerConnection> ConnectDirectly(const std::string& /*directory*/)
{
    int sockets[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
        throw std::runtime_error("socketpair");
    }
    Bus bus = BusOfSocket(sockets[0], false);
    fcntl(sockets[1], F_SETFD, 0);
    auto process = StartPeer(kDirectBus, std::to_string(sockets[1]));
    close(sockets[1]);
    return std::make_unique<BusConnection>(std::move(bus), nullptr, nullptr, std::move(process));
}

int Answer(sd_bus_message* request, void* /*context*/, sd_bus_error* /*error*/)
{
    PeerMessage payload;
    Read(request, payload);
    sd_bus_message* reply = nullptr;
    Check(sd_bus_message_new_method_return(request, &reply), "sd_bus_message_new_method_return");
    const Message response(reply);
    Append(response.get(), payload);
    return sd_bus_send(nullptr, response.get(), nullptr);
}

void AnswerForEver(sd_bus* bus)
{
    Check(sd_bus_add_object(bus, nullptr, kPath, Answer, nullptr), "sd_bus_add_object");
    std::cout << "ready" << std::endl;
    while (true) {
        const int processed = sd_bus_process(bus, nullptr);
        Check(processed, "sd_bus_process");
        if (processed == 0) {
            Check(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
        }
    }
}

void ServeThroughDaemon(const std::string& address)
{
    const Bus bus = BusOfDaemon(address);
    Check(sd_bus_request_name(bus.get(), kName, 0), "sd_bus_request_name");
    AnswerForEver(bus.get());
}

void ServeDirectly(const std::string& socket)
{
    const Bus bus = BusOfSocket(std::stoi(socket), true);
    AnswerForEver(bus.get());
}

}  // namespace

ExchangePeer DaemonBusPeer()
{
    return {kDaemonBus, kDaemonAim, ConnectThroughDaemon, ServeThroughDaemon};
}

ExchangePeer DirectBusPeer()
{
    return {kDirectBus, kDirectAim, ConnectDirectly, ServeDirectly};
}

void ServeBusDaemon(const std::string& directory)
{
    std::string text = kConfiguration;
    const std::string place = "@directory@";
    text.replace(text.find(place), place.size(), directory);
    const std::string path = directory + "/bus.conf";
    std::ofstream(path) << text;
    // What it says there is about limits that it would like to have.
    if (freopen((directory + "/bus.log").c_str(), "w", stderr) == nullptr) {
        throw std::runtime_error("cannot write " + directory);
    }
    execlp("dbus-daemon", "dbus-daemon", ("--config-file=" + path).c_str(), "--nofork",
           "--nopidfile", "--print-address=1", nullptr);
    throw std::runtime_error("dbus-daemon is not installed");
}

}  // namespace bench
