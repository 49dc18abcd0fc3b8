// An owner whose clients send any record, of any size, with any command, through the hooks that the
// platform was given; its callbacks answer anything.
//
// The input is a script. Two bytes say which callbacks are registered; then each step is one
// request, held against `server_model.h`: the callback's arguments, the hook's result and every
// byte of the buffer.
#include <cstdint>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <vector>

#include "fuzz/script.h"
#include "fuzz/server_model.h"
#include "platform/fake/fake_platform.h"
#include "server/ownerlink_server_impl.h"

namespace {

using fuzz::OutcomeText;
using fuzz::Reply;
using fuzz::Require;
using fuzz::Script;
using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkServerImpl;

constexpr size_t kRecordSize = sizeof(OwnerlinkRequestMsg);
constexpr size_t kDataOffset = 12;
constexpr size_t kMostCopied = kRecordSize - kDataOffset;
constexpr int kBadArgument = -15794176;
constexpr int kCopyFailed = -15794179;
constexpr char kResource[] = "dp:/res/fuzz";

using Record = std::vector<char>;

class World {
public:
    explicit World(Script script)
        : script_(script), registered_(TakeRegistered()), model_(registered_)
    {
        OwnerlinkFake::Reset();
        OwnerlinkFake::FreezeClock();
        server_ = std::make_unique<OwnerlinkServerImpl>();
        RegisterChanges();
        RegisterStates();
        RegisterCommands();
        RegisterQuestions();
        ioctl_ = OwnerlinkFake::Services().at(0).ops.ioctl;
    }

    void Run()
    {
        while (!script_.IsOver()) {
            OwnerlinkFake::ClearHistory();
            Step();
        }
    }

private:
    using Apps = std::vector<AppInfoForServer>;

    fuzz::Registered TakeRegistered()
    {
        const auto bits = script_.Take<uint16_t>();
        const auto has = [&](unsigned bit) {
            return (bits >> bit & 1U) != 0;
        };
        return {has(0), has(1), has(2), has(3), has(4), has(5),
                has(6), has(7), has(8), has(9), has(10)};
    }

    // An empty function empties the slot, and is a registration as well.
    template <typename Register, typename CallBack>
    void Put(Register register_, bool isThere, CallBack callback)
    {
        using Slot = decltype(SlotOf(register_));
        Require(((*server_).*register_)(isThere ? Slot(callback) : Slot(), kResource) == 0);
    }
    template <typename Slot>
    static Slot SlotOf(int (OwnerlinkServerImpl::*)(Slot, const std::string&));

    bool ReplyTo(const OutcomeText& call)
    {
        asked_ += call.Text();
        if (throws_) {
            throw std::runtime_error("a callback's");
        }
        return reply_.verdict;
    }

    bool ReplyToChange(const Apps& term, const Apps& start, const Apps& restart,
                       std::vector<AppChangeInfo>& results, int timeOut)
    {
        Require(results.empty());
        for (const std::string& name : reply_.names) {
            results.emplace_back(name, static_cast<AppChangeState>(reply_.number));
        }
        return ReplyTo(OutcomeText()
                       << std::string("change") << term << start << restart << timeOut);
    }

    void RegisterChanges()
    {
        Put(&OwnerlinkServerImpl::RegSsChangeAppCallBackImpl, registered_.change,
            [this](const Apps& term, const Apps& start, const Apps& restart,
                   std::vector<AppChangeInfo>& results) {
                return ReplyToChange(term, start, restart, results, -77);
            });
        Put(&OwnerlinkServerImpl::RegSsChangeAppTimeoutCallBackImpl, registered_.changeWithTimeOut,
            [this](const Apps& term, const Apps& start, const Apps& restart,
                   std::vector<AppChangeInfo>& results,
                   int timeOut) { return ReplyToChange(term, start, restart, results, timeOut); });
    }

    void RegisterStates()
    {
        const auto replyToState = [this](int state, int timeOut) {
            return ReplyTo(OutcomeText() << std::string("state") << state << timeOut);
        };
        Put(&OwnerlinkServerImpl::RegSetSystemStateCallBackImpl, registered_.state,
            [=](int state) { return replyToState(state, -77); });
        Put(&OwnerlinkServerImpl::RegSetSystemStateTimeoutCallBackImpl,
            registered_.stateWithTimeOut, replyToState);
        Put(&OwnerlinkServerImpl::RegSsCancelSuspendPreCallBackImpl, registered_.cancel,
            [this](int state, int timeOut) {
                return ReplyTo(OutcomeText() << std::string("cancel") << state << timeOut);
            });
    }

    void RegisterCommands()
    {
        const auto replyTo = [this](const char* name) {
            return [this, name] {
                return ReplyTo(OutcomeText() << std::string(name));
            };
        };
        Put(&OwnerlinkServerImpl::RegReloadCallBackImpl, registered_.reload, replyTo("reload"));
        Put(&OwnerlinkServerImpl::RegDumpCallBackImpl, registered_.dump, replyTo("dump"));
        Put(&OwnerlinkServerImpl::RegStopAllAppCallBackImpl, registered_.stopAll,
            replyTo("stopAll"));
    }

    void RegisterQuestions()
    {
        Put(&OwnerlinkServerImpl::RegQueryAppListCallBackImpl, registered_.list,
            [this](std::vector<std::string>& names) {
                names = reply_.names;
                return ReplyTo(OutcomeText() << std::string("list"));
            });
        Put(&OwnerlinkServerImpl::RegSsVerifyAppCallBackImpl, registered_.verify,
            [this](const std::map<std::string, unsigned int>& record) {
                return ReplyTo(OutcomeText() << std::string("verify") << record);
            });
        Put(&OwnerlinkServerImpl::RegSsQueryAppStateCallBackImpl, registered_.query,
            [this](const std::vector<std::string>& names, std::vector<AppStatus>& answers,
                   int timeOut, int type) {
                for (const std::string& name : reply_.names) {
                    answers.push_back({name, static_cast<int32_t>(reply_.number), reply_.number});
                }
                return ReplyTo(OutcomeText() << std::string("query") << names << timeOut
                                             << static_cast<uint32_t>(type));
            });
    }

    void Step()
    {
        const uint32_t command = TakeCommand();
        TakeReply();
        const int64_t pause = script_.Take<uint8_t>();
        OwnerlinkFake::AdvanceClock(std::chrono::milliseconds(pause));
        model_.Advance(pause);
        const auto kind = script_.Take<uint8_t>();
        if (kind >= 0xf0) {
            SendNoRecord(command, kind);
        } else {
            SendRecord(command, TakeRecord(kind));
        }
    }

    uint32_t TakeCommand()
    {
        const auto command = script_.Take<uint8_t>();
        return command < 16 ? command : script_.Take<uint32_t>();
    }

    void TakeReply()
    {
        const auto bits = script_.Take<uint8_t>();
        reply_.verdict = (bits & 1U) != 0;
        throws_ = bits == 0xff;
        reply_.number = bits;
        reply_.names.assign(script_.Take<uint8_t>() % 64, "");
        const std::string name(script_.Take<uint16_t>() % 4096, 'n');
        for (std::string& text : reply_.names) {
            text = name;
        }
    }

    // Its `size` is the payload's length for even kinds, and anything for odd ones.
    OwnerlinkRequestMsg TakeRecord(uint8_t kind)
    {
        OwnerlinkRequestMsg request;
        request.timeout = script_.Take<int32_t>();
        request.reserved = 0x23392339;
        const uint64_t claimed = kind % 2 == 1 ? script_.Take<uint64_t>() : 0;
        const std::string payload = script_.TakeBytes(script_.Take<uint16_t>() % 3889);
        request.size = kind % 2 == 1 ? claimed : payload.size();
        std::memcpy(request.data, payload.data(), payload.size());
        return request;
    }

    // Nothing is called and nothing is written.
    void SendNoRecord(uint32_t command, uint8_t kind)
    {
        const uint64_t size = kind % 4 == 0 ? script_.Take<uint64_t>() : kRecordSize;
        Record buffer(std::min<uint64_t>(size, 2 * kRecordSize), 'b');
        const Record before = buffer;
        IAMIoctlArg arg = {size, kind % 4 == 1 ? nullptr : buffer.data()};
        IAMMgrFile* const file = kind % 4 == 2 ? nullptr : OwnerlinkFake::AnyFile();
        if (kind % 4 == 0 && size == kRecordSize) {
            return;
        }
        asked_.clear();
        Require(ioctl_(file, command, kind % 4 == 3 ? nullptr : &arg) == kBadArgument);
        Require(asked_.empty() && buffer == before);
    }

    void SendRecord(uint32_t command, const OwnerlinkRequestMsg& request)
    {
        Record buffer(kRecordSize);
        std::memcpy(buffer.data(), &request, kRecordSize);
        Record expected = buffer;
        OutcomeText expectedCall;
        const fuzz::Response response = model_.Answer(command, request, reply_, expectedCall);
        const int expectedResult = CopyOut(response, expected);
        IAMIoctlArg arg = {kRecordSize, buffer.data()};
        asked_.clear();
        int result = 0;
        try {
            result = ioctl_(OwnerlinkFake::AnyFile(), command, &arg);
        } catch (const std::runtime_error&) {
            Require(throws_ && asked_ == expectedCall.Text());
            return;
        }
        RequireSame(asked_, expectedCall.Text());
        Require(result == expectedResult && buffer == expected);
    }

    // The size goes out even where the payload does not fit, for which a refused copy leaves zeros.
    static int CopyOut(const fuzz::Response& response, Record& buffer)
    {
        std::memcpy(buffer.data(), &response.size, sizeof response.size);
        if (response.size > kMostCopied) {
            std::memset(buffer.data() + kDataOffset, 0, kMostCopied);
            return kCopyFailed;
        }
        std::string data = response.data;
        data.resize(response.size);
        std::memcpy(buffer.data() + kDataOffset, data.data(), data.size());
        return static_cast<int>(response.size + 8);
    }

    static void RequireSame(const std::string& got, const std::string& expected)
    {
        if (got != expected) {
            std::cerr << "asked:    " << got << "\nexpected: " << expected << "\n";
        }
        Require(got == expected);
    }

    Script script_;
    fuzz::Registered registered_;
    fuzz::ServerModel model_;
    std::unique_ptr<OwnerlinkServerImpl> server_;
    int (*ioctl_)(IAMMgrFile*, unsigned int, IAMIoctlArg*) = nullptr;
    Reply reply_;
    bool throws_ = false;
    std::string asked_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    World(Script(data, size)).Run();
    return 0;
}
