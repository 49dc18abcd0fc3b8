/// \file
/// The process manager's records, the codec of its requests, and its pipe wrappers.
///
/// The agent and the master of the process manager exchange `RequestMsg` records over a pipe. Here
/// are the master's unpackers and the agent's packer; the counterparts live in the process manager.
/// No function here keeps state, and each may be called from any thread; a record is used by one
/// thread at a time. Failures are logged to syslog with priority 3, and an item that no record
/// takes with 4.
#ifndef OWNERLINK_PROCESS_MANAGER_H
#define OWNERLINK_PROCESS_MANAGER_H

#include <ownerlink/export.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <utility>
#include <vector>

struct EzcomRequest;
struct EzcomResponse;

namespace ProcMgr::Message {

/// The kind of a request. Its values are the process manager's own.
enum class RequestType : uint32_t {};

/// What the agent and the master exchange. Host byte order; the reserved fields are padding.
struct RequestMsg {
    RequestType type{};         ///< the kind of the request
    uint32_t reserved4 = 0;     ///< padding
    uint64_t size = 0;          ///< payload bytes in `data`
    char data[3964] = {};       ///< the payload, not zero-terminated
    uint32_t reserved3980 = 0;  ///< padding
};

static_assert(sizeof(RequestMsg) == 3984, "size of a record");
static_assert(offsetof(RequestMsg, size) == 8 && offsetof(RequestMsg, data) == 16,
              "layout of a record");

/// One application to start.
struct StartAppInfo {
    std::string appName;                                  ///< the application
    std::vector<std::string> args;                        ///< start arguments
    std::map<int, std::vector<std::string>> dynamicPara;  ///< by index
};

/// One application to restart.
struct RestartAppInfo {
    std::string appName;                                  ///< the application
    std::vector<std::string> args;                        ///< start arguments
    std::map<int, std::vector<std::string>> dynamicPara;  ///< by index
};

/// One application to terminate.
struct TermAppInfo {
    std::string appName;  ///< the application
};

/// The numbers are the process manager's; they are carried as they stand.
struct AppStateInfo {
    std::string appName;  ///< the application
    /// @{
    /// A number of the process manager's.
    uint32_t value0 = 0;
    uint32_t value1 = 0;
    uint32_t value2 = 0;
    uint32_t value3 = 0;
    /// @}
};

/// Whether a process executes.
enum class AppExecState : uint32_t {
    RUNNING = 0,
    TERMINATED = 1,
};

/// One application's execution state.
struct AppExecInfo {
    std::string appName;  ///< the application
    /// @{
    /// A number of the process manager's.
    uint32_t value0 = 0;
    uint32_t value1 = 0;
    /// @}
    AppExecState execState{};  ///< as received, which may be no enumerator
};

/// How far a base service is.
enum class BaseServiceState : uint32_t {
    INIT = 0,
    RESTARTING = 1,
    RUNNING = 2,
    TERMINATING = 3,
};

/// The state of a base service.
struct BaseServiceStateInfo {
    BaseServiceState state{};  ///< as received, which may be no enumerator
};

/// Where the startup configuration is and what it is matched with.
struct StartupCfgInfo {
    std::map<std::string, std::string> matchData;  ///< values by key
    std::string path;                              ///< the configuration's path
};

}  // namespace ProcMgr::Message

namespace ProcMgr::Serialization {

// The unpackers. They read the first `size` bytes of a record, at most its 3964, and tell the
// caller nothing: after a failure, or a payload that ends early, the output is filled in part, with
// empty strings and zeros behind.

/// @{
/// At most 1999 applications; more leave `appList` untouched. Records of the sender "iammgr" carry
/// no dynamic parameters. An application with more than 1024 arguments is logged and passed over
/// without its arguments, so that the rest of the record is misread; a bad dynamic parameter ends
/// the reading.
OWNERLINK_EXPORT void ProcMgrUnpackStartRequest(const Message::RequestMsg* msg,
                                                std::vector<Message::StartAppInfo>& appList,
                                                const std::string& senderName);
OWNERLINK_EXPORT void ProcMgrUnpackRestartRequest(const Message::RequestMsg* msg,
                                                  std::vector<Message::RestartAppInfo>& appList,
                                                  const std::string& senderName);
/// @}

/// At most 1999 applications; more leave `appList` untouched.
OWNERLINK_EXPORT void ProcMgrUnpackTermRequest(const Message::RequestMsg* msg,
                                               std::vector<Message::TermAppInfo>& appList);

/// @{
/// Reads the one state that a record holds; a number without a meaning as it stands.
OWNERLINK_EXPORT void ProcMgrUnpackedAppExecInfoRequest(const Message::RequestMsg* msg,
                                                        Message::AppExecInfo& info);
OWNERLINK_EXPORT void ProcMgrUnpackedBaseServiceStateRequest(const Message::RequestMsg* msg,
                                                             Message::BaseServiceStateInfo& info);
/// @}

/// 1 to 102399 pairs; any other number leaves `matchData` untouched. The first value of a key
/// stays.
OWNERLINK_EXPORT void ProcMgrUnpackMatchDataAndPathRequest(const Message::RequestMsg* msg,
                                                           Message::StartupCfgInfo& info);

/// Reads at most 3 dynamic parameters with indices up to 2 and at most 1024 values each. False
/// beyond these bounds.
OWNERLINK_EXPORT bool UnPackDynamicPara(std::istringstream& stream,
                                        std::map<int, std::vector<std::string>>& dynamicPara);

/// Appends one item for each application state to `packedRequest`. False at the first item above
/// 3959 bytes; the items before it stay.
OWNERLINK_EXPORT bool ProcMgrPackAppStateRequest(
    const std::vector<Message::AppStateInfo>& appState,
    std::vector<std::pair<unsigned int, std::string>>& packedRequest);

/// Sorts `packedRequest` and cuts it into records of at most 3955 bytes of items, each with its
/// count in front. False only for an empty list; an item above 3955 bytes is dropped with a log
/// record.
OWNERLINK_EXPORT bool ProcMgrCombinePiecesMsg(
    Message::RequestType type, std::vector<std::pair<unsigned int, std::string>>& packedRequest,
    std::vector<Message::RequestMsg>& msgs);

}  // namespace ProcMgr::Serialization

namespace ProcMgr {

// Calls of the pipe library that are made again while it answers with a code that passes with time.
// They block the calling thread meanwhile, and return the result of the last attempt.

/// @{
/// Retried on -11 and -12: 401 attempts, 5 ms apart, about two seconds in all.
OWNERLINK_EXPORT int ProcMgrEzcomSendRequest(int pipe, const EzcomRequest* request);
OWNERLINK_EXPORT int ProcMgrEzcomSendResponse(int pipe, const EzcomResponse* response);
/// @}

/// @{
/// Retried on -11, as often. `timeout` goes to each attempt alike.
OWNERLINK_EXPORT int ProcMgrEzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response);
OWNERLINK_EXPORT int ProcMgrEzcomTimedRPCSync(int pipe, EzcomRequest* request,
                                              EzcomResponse* response, int timeout);
/// @}

/// Retried on -16: 10 attempts, 100 ms apart. How it ended is not told.
OWNERLINK_EXPORT void ProcMgrEzcomClosePipe(int pipe);

}  // namespace ProcMgr

#endif
