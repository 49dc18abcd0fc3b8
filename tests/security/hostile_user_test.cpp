// One user of the connecting group does all it can to keep an owner from the others. They are
// served all the same, and when it is gone nothing of it is left.
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include "platform/hosted/owner_peers.h"
#include "platform/hosted/pipe_message.h"
#include "platform/hosted/pipe_table.h"
#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_service.h"
#include "platform/hosted/socket_address.h"
#include "tests/hosted/raw_peer.h"
#include "tests/security/test_service.h"
#include "tests/support/send_descriptors.h"

using namespace hosted;

namespace {

using Ready = std::function<void()>;

constexpr int kProcesses = 4;

struct Attack {
    const char* name;
    void (*body)(const Ready& ready);
};

std::ostream& operator<<(std::ostream& stream, const Attack& attack)
{
    return stream << attack.name;
}

std::string EchoRequest(uint32_t size)
{
    return MessageOf(RequestHeader(kEchoCommand, size), std::string(size, 'a'));
}

bool SendNow(const RawClient& client, const std::string& message)
{
    return send(client.Fd(), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0;
}

void ReadAll(const RawClient& client)
{
    static char bytes[kMaxMessage];
    while (recv(client.Fd(), bytes, sizeof bytes, MSG_DONTWAIT) > 0) {}
}

const char* NameAt(size_t index)
{
    constexpr const char* kNames[] = {kFileName, kQueueName, kPipeName};
    return kNames[index % 3];
}

// A message with as many descriptors as one may carry.
void SendDescriptors(const RawClient& client, const std::string& text)
{
    static constexpr std::array<int, kMostDescriptors> kStandardInput = {};
    SendWithDescriptors(client.Fd(), text, kStandardInput, MSG_DONTWAIT);
}

void OpenAllItCan(const Ready& ready)
{
    std::vector<RawClient> hoard;
    for (size_t i = 0; i < 900; ++i) {
        hoard.emplace_back(NameAt(i));
    }
    ready();
    pause();
}

void OpenAndClose(const Ready& ready)
{
    for (size_t i = 0;; ++i) {
        const RawClient client(NameAt(i));
        if (i == 100) {
            ready();
        }
    }
}

void SendWithoutPause(const Ready& ready, const std::string& request)
{
    const std::vector<RawClient> clients(120);
    for (int round = 0;; ++round) {
        for (const RawClient& client : clients) {
            while (SendNow(client, request)) {}
            ReadAll(client);
        }
        if (round == 10) {
            ready();
        }
    }
}

void CallWithoutPause(const Ready& ready)
{
    SendWithoutPause(ready, EchoRequest(8));
}

// No limit stands before reads: together they could have all threads for ever.
void ReadWithoutPause(const Ready& ready)
{
    MessageHeader read = RequestHeader(8, 0);
    read.flags = kFlagRead;
    SendWithoutPause(ready, MessageOf(read, ""));
}

void SendHalfMessages(const Ready& ready)
{
    const std::string whole = EchoRequest(1000);
    for (size_t i = 0;; ++i) {
        const RawClient client(NameAt(i));
        SendNow(client, whole.substr(0, 1 + i % whole.size()));
        if (i == 100) {
            ready();
        }
    }
}

void NeverReadAnAnswer(const Ready& ready)
{
    const std::string request = EchoRequest(60000);
    for (size_t i = 0;; ++i) {
        const std::vector<RawClient> clients(120);
        for (const RawClient& client : clients) {
            while (SendNow(client, request)) {}
        }
        if (i == 0) {
            ready();
        }
    }
}

void PassDescriptors(const Ready& ready)
{
    const std::string toPipe(sizeof(PipeHeader), '\0');
    const std::string messages[] = {EchoRequest(8), std::string(sizeof(QueueMessage), '\0'),
                                    toPipe};
    for (size_t i = 0;; ++i) {
        const RawClient client(NameAt(i));
        for (int j = 0; j < 10; ++j) {
            SendDescriptors(client, messages[i % 3]);
        }
        if (i == 100) {
            ready();
        }
    }
}

void SubscribeWithoutEnd(const Ready& ready)
{
    std::vector<RawClient> kept;
    const QueueMessage hello;
    const std::string greeting(reinterpret_cast<const char*>(&hello), sizeof hello);
    for (size_t i = 0;; ++i) {
        RawClient client(kQueueName);
        SendNow(client, greeting);
        if (i < 10) {
            kept.push_back(std::move(client));  // and takes nothing
        }
        if (i == 100) {
            ready();
        }
    }
}

void FillPipes(const Ready& ready)
{
    std::vector<RawClient> pipes;
    for (int i = 0; i < 40; ++i) {
        pipes.emplace_back(kPipeName);
    }
    PipeHeader header;
    header.kind = PipeMessageKind::kCall;
    header.sequence = 1;
    header.size = 60000;
    std::string call(sizeof header + header.size, 'a');
    std::memcpy(call.data(), &header, sizeof header);
    ready();
    while (true) {
        for (const RawClient& pipe : pipes) {
            SendNow(pipe, call);
        }
    }
}

constexpr Attack kAttacks[] = {
    {"OpensAllItCan", OpenAllItCan},
    {"OpensAndCloses", OpenAndClose},
    {"CallsWithoutPause", CallWithoutPause},
    {"ReadsWithoutPause", ReadWithoutPause},
    {"SendsHalfMessages", SendHalfMessages},
    {"NeverReadsAnAnswer", NeverReadAnAnswer},
    {"PassesDescriptors", PassDescriptors},
    {"SubscribesWithoutEnd", SubscribeWithoutEnd},
    {"FillsPipes", FillPipes},
};

// 0, or the first failure.
int UseAll()
{
    for (int round = 0; round < 20; ++round) {
        if (const int error = UseOf(Kind::kFile); error != 0) {
            return error;
        }
    }
    const int ofQueue = UseOf(Kind::kQueue);
    return ofQueue != 0 ? ofQueue : UseOf(Kind::kPipe);
}

size_t EntriesOf(const std::string& directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

size_t DescriptorsOf(pid_t process)
{
    return EntriesOf("/proc/" + std::to_string(process) + "/fd");
}

class HostileUser : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        setenv("OWNERLINK_LOG", "off", 1);  // each refusal is logged
    }
};

class HostileUserThat : public HostileUser, public testing::WithParamInterface<Attack> {};

INSTANTIATE_TEST_SUITE_P(Each, HostileUserThat, testing::ValuesIn(kAttacks),
                         testing::PrintToStringParamName());

}  // namespace

TEST_P(HostileUserThat, HoldsUpNobodyElseAndLeavesNothing)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    ASSERT_EQ(ResultAs(Member(), UseAll), 0);
    const size_t before = DescriptorsOf(owner.Process());
    {
        std::vector<std::unique_ptr<UserProcess>> attackers;
        for (int i = 0; i < kProcesses; ++i) {
            attackers.push_back(std::make_unique<UserProcess>(HostileMember(), GetParam().body));
            ASSERT_TRUE(attackers.back()->HasSaidReady());
        }

        EXPECT_EQ(ResultAs(Member(), UseAll), 0);
        EXPECT_EQ(ResultAs(OwnersUser(), UseAll), 0);
        EXPECT_EQ(ResultAs(Root(), UseAll), 0);
        for (const auto& attacker : attackers) {
            EXPECT_TRUE(attacker->IsRunning());
        }
    }

    EXPECT_TRUE(owner.IsRunning());
    EXPECT_TRUE(Eventually([&] { return DescriptorsOf(owner.Process()) <= before; }))
        << DescriptorsOf(owner.Process()) << " after " << before;
}
