// Prints the layout of every record that crosses the library's borders: those of the public headers
// and of the platform's interface, and what the hosted platform sends or keeps in shared memory.
// `arm64/run` compares what the builds for two machines print.
#include <ownerlink/client.h>
#include <ownerlink/process_manager.h>
#include <ownerlink/records.h>
#include <ownerlink/server.h>
#include <ownerlink/wire.h>
#include <ownerlink/yaml_node.h>

#include <cstdio>

#include "platform/hosted/message.h"
#include "platform/hosted/pipe_message.h"
#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_ring_memory.h"
#include "platform/iam_file.h"
#include "platform/iam_queue.h"

namespace {

// Prints a record as a line of its own, and below it each member that it is asked for.
template <typename Record>
class Layout {
public:
    explicit Layout(const char* name)
    {
        std::printf("struct %s size %zu alignment %zu\n", name, sizeof(Record), alignof(Record));
    }

    template <typename Member>
    Layout& Has(const char* name, Member Record::*member)
    {
        const Record record{};
        const auto* const start = reinterpret_cast<const char*>(&record);
        const auto* const place = reinterpret_cast<const char*>(&(record.*member));
        std::printf("    %s at %td size %zu alignment %zu\n", name, place - start, sizeof(Member),
                    alignof(Member));
        return *this;
    }
};

void PrintPublicRecords()
{
    Layout<AppInfo>("AppInfo")
        .Has("os", &AppInfo::os)
        .Has("groupOwner", &AppInfo::groupOwner)
        .Has("appName", &AppInfo::appName)
        .Has("optionType", &AppInfo::optionType)
        .Has("args", &AppInfo::args)
        .Has("dynamicPara", &AppInfo::dynamicPara);
    Layout<AppInfoForServer>("AppInfoForServer")
        .Has("appName", &AppInfoForServer::appName)
        .Has("args", &AppInfoForServer::args)
        .Has("dynamicPara", &AppInfoForServer::dynamicPara);
    Layout<AppChangeInfo>("AppChangeInfo")
        .Has("appName", &AppChangeInfo::appName)
        .Has("state", &AppChangeInfo::state);
    Layout<QueryAppStatusMsg>("QueryAppStatusMsg")
        .Has("appList", &QueryAppStatusMsg::appList)
        .Has("queryType", &QueryAppStatusMsg::queryType);
    Layout<AppStatus>("AppStatus")
        .Has("appName", &AppStatus::appName)
        .Has("pid", &AppStatus::pid)
        .Has("status", &AppStatus::status);
    Layout<SysEvent>("SysEvent").Has("state", &SysEvent::state);
    Layout<CoreAffinityConfig>("CoreAffinityConfig")
        .Has("state", &CoreAffinityConfig::state)
        .Has("checkNum", &CoreAffinityConfig::checkNum)
        .Has("isWakeUpEnable", &CoreAffinityConfig::isWakeUpEnable)
        .Has("checkInterval", &CoreAffinityConfig::checkInterval);
}

void PrintWireRecords()
{
    using ProcMgr::OwnerlinkRequestMsg;
    using ProcMgr::OwnerlinkResponseMsg;
    using ProcMgr::Message::RequestMsg;
    Layout<OwnerlinkRequestMsg>("OwnerlinkRequestMsg")
        .Has("size", &OwnerlinkRequestMsg::size)
        .Has("timeout", &OwnerlinkRequestMsg::timeout)
        .Has("data", &OwnerlinkRequestMsg::data)
        .Has("reserved", &OwnerlinkRequestMsg::reserved);
    Layout<OwnerlinkResponseMsg>("OwnerlinkResponseMsg")
        .Has("size", &OwnerlinkResponseMsg::size)
        .Has("timeout", &OwnerlinkResponseMsg::timeout)
        .Has("data", &OwnerlinkResponseMsg::data)
        .Has("reserved", &OwnerlinkResponseMsg::reserved);
    Layout<RequestMsg>("RequestMsg")
        .Has("type", &RequestMsg::type)
        .Has("reserved4", &RequestMsg::reserved4)
        .Has("size", &RequestMsg::size)
        .Has("data", &RequestMsg::data)
        .Has("reserved3980", &RequestMsg::reserved3980);
}

void PrintApplicationRecords()
{
    using namespace ProcMgr::Message;
    Layout<StartAppInfo>("StartAppInfo")
        .Has("appName", &StartAppInfo::appName)
        .Has("args", &StartAppInfo::args)
        .Has("dynamicPara", &StartAppInfo::dynamicPara);
    Layout<RestartAppInfo>("RestartAppInfo")
        .Has("appName", &RestartAppInfo::appName)
        .Has("args", &RestartAppInfo::args)
        .Has("dynamicPara", &RestartAppInfo::dynamicPara);
    Layout<TermAppInfo>("TermAppInfo").Has("appName", &TermAppInfo::appName);
    Layout<StartupCfgInfo>("StartupCfgInfo")
        .Has("matchData", &StartupCfgInfo::matchData)
        .Has("path", &StartupCfgInfo::path);
}

void PrintStateRecords()
{
    using namespace ProcMgr::Message;
    Layout<AppStateInfo>("AppStateInfo")
        .Has("appName", &AppStateInfo::appName)
        .Has("value0", &AppStateInfo::value0)
        .Has("value1", &AppStateInfo::value1)
        .Has("value2", &AppStateInfo::value2)
        .Has("value3", &AppStateInfo::value3);
    Layout<AppExecInfo>("AppExecInfo")
        .Has("appName", &AppExecInfo::appName)
        .Has("value0", &AppExecInfo::value0)
        .Has("value1", &AppExecInfo::value1)
        .Has("execState", &AppExecInfo::execState);
    Layout<BaseServiceStateInfo>("BaseServiceStateInfo").Has("state", &BaseServiceStateInfo::state);
}

// The interfaces' own members are private: their sizes are what a user's program can see.
void PrintClasses()
{
    Layout<OwnerlinkClient>("OwnerlinkClient");
    Layout<OwnerlinkClientInner>("OwnerlinkClientInner");
    Layout<OwnerlinkServer>("OwnerlinkServer");
    Layout<ProcMgr::YamlDocument>("YamlDocument");
    Layout<ProcMgr::KvsTypeYaml>("KvsTypeYaml");
}

void PrintPlatformFileRecords()
{
    Layout<IAMIoctlArg>("IAMIoctlArg")
        .Has("size", &IAMIoctlArg::size)
        .Has("buf", &IAMIoctlArg::buf);
    Layout<IAMFileOps>("IAMFileOps")
        .Has("read", &IAMFileOps::read)
        .Has("reserved1", &IAMFileOps::reserved1)
        .Has("ioctl", &IAMFileOps::ioctl)
        .Has("open", &IAMFileOps::open)
        .Has("close", &IAMFileOps::close)
        .Has("reserved5", &IAMFileOps::reserved5);
    Layout<IAMServiceDesc>("IAMServiceDesc")
        .Has("name", &IAMServiceDesc::name)
        .Has("ops", &IAMServiceDesc::ops)
        .Has("timeout", &IAMServiceDesc::timeout);
}

void PrintPlatformQueueRecords()
{
    Layout<IamQfsMgrFile>("IamQfsMgrFile")
        .Has("name", &IamQfsMgrFile::name)
        .Has("queue", &IamQfsMgrFile::queue);
    Layout<IAMShmPool>("IAMShmPool").Has("opaque", &IAMShmPool::opaque);
    Layout<IAMShmBlock>("IAMShmBlock").Has("opaque", &IAMShmBlock::opaque);
    Layout<IAMQueueOps>("IAMQueueOps")
        .Has("open", &IAMQueueOps::open)
        .Has("close", &IAMQueueOps::close);
    Layout<IAMQueueServiceDesc>("IAMQueueServiceDesc")
        .Has("name", &IAMQueueServiceDesc::name)
        .Has("ops", &IAMQueueServiceDesc::ops)
        .Has("timeout", &IAMQueueServiceDesc::timeout)
        .Has("reserved", &IAMQueueServiceDesc::reserved);
    Layout<IAMShmPoolConfig>("IAMShmPoolConfig")
        .Has("name", &IAMShmPoolConfig::name)
        .Has("blockSize", &IAMShmPoolConfig::blockSize)
        .Has("blockCount", &IAMShmPoolConfig::blockCount);
}

void PrintMessageHeaders()
{
    using namespace hosted;
    Layout<MessageHeader>("MessageHeader")
        .Has("magic", &MessageHeader::magic)
        .Has("version", &MessageHeader::version)
        .Has("flags", &MessageHeader::flags)
        .Has("sequence", &MessageHeader::sequence)
        .Has("command", &MessageHeader::command)
        .Has("size", &MessageHeader::size)
        .Has("result", &MessageHeader::result)
        .Has("error", &MessageHeader::error)
        .Has("zeros", &MessageHeader::zeros)
        .Has("reserved", &MessageHeader::reserved);
    Layout<PipeHeader>("PipeHeader")
        .Has("magic", &PipeHeader::magic)
        .Has("version", &PipeHeader::version)
        .Has("kind", &PipeHeader::kind)
        .Has("sequence", &PipeHeader::sequence)
        .Has("type", &PipeHeader::type)
        .Has("size", &PipeHeader::size);
}

void PrintQueueRecords()
{
    using namespace hosted;
    Layout<QueueMessage>("QueueMessage")
        .Has("magic", &QueueMessage::magic)
        .Has("version", &QueueMessage::version)
        .Has("kind", &QueueMessage::kind)
        .Has("error", &QueueMessage::error)
        .Has("pool", &QueueMessage::pool)
        .Has("size", &QueueMessage::size)
        .Has("count", &QueueMessage::count);
    Layout<RingHeader>("RingHeader")
        .Has("tail", &RingHeader::tail)
        .Has("head", &RingHeader::head)
        .Has("flag", &RingHeader::flag);
    Layout<RingSlot>("RingSlot").Has("place", &RingSlot::place).Has("size", &RingSlot::size);
}

}  // namespace

int main()
{
    PrintPublicRecords();
    PrintWireRecords();
    PrintApplicationRecords();
    PrintStateRecords();
    PrintClasses();
    PrintPlatformFileRecords();
    PrintPlatformQueueRecords();
    PrintMessageHeaders();
    PrintQueueRecords();
    return 0;
}
