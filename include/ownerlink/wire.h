/// \file
/// The records that travel between the two ends, and the codecs of their payloads.
///
/// Everything is one fixed record, whatever the command: a size, a time-out and a payload. The
/// functions keep no state and touch only their arguments; a record is used by one thread at a
/// time. A `Pack` or `UnPack` function's result says that the record could be filled or was well
/// formed; the owner's verdict is an argument. Failures are logged. After a failed unpack the
/// outputs hold what was read so far, unless a function says otherwise.
#ifndef OWNERLINK_WIRE_H
#define OWNERLINK_WIRE_H

#include <ownerlink/export.h>
#include <ownerlink/records.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace ProcMgr {

/// The command numbers, passed to `ioctl` as they stand. 1 and 7 are not used: an owner answers
/// them, like any other number, with an empty response.
enum OwnerlinkRequestType : uint32_t {
    CHANGE_APP = 0,
    SET_SYSTEM_STATE = 2,
    RELOAD_CFG = 3,
    DUMP_APP = 4,
    STOP_ALL_APP = 5,
    QUERY_APP_LIST = 6,
    VERIFY_APP = 8,
    QUERY_APP_STATE = 9,
    CANCEL_SUSPEND = 10,
};

/// What a manager sends. Host byte order; `reserved` is the padding to 8, zero in a new record.
struct OwnerlinkRequestMsg {
    uint64_t size = 0;       ///< payload bytes in `data`
    int32_t timeout = 5000;  ///< the manager's time-out in milliseconds, or -1
    char data[3888] = {};    ///< the payload, not zero-terminated
    uint32_t reserved = 0;   ///< padding
};

/// What an owner answers: the same layout. Only `size` and as many bytes of `data` are carried.
struct OwnerlinkResponseMsg {
    uint64_t size = 0;       ///< payload bytes in `data`
    int32_t timeout = 5000;  ///< not carried: 5000 at either end
    char data[3888] = {};    ///< the payload, not zero-terminated
    uint32_t reserved = 0;   ///< padding
};

static_assert(sizeof(OwnerlinkRequestMsg) == 3904 && sizeof(OwnerlinkResponseMsg) == 3904,
              "size of a record");
static_assert(offsetof(OwnerlinkRequestMsg, timeout) == 8 &&
                  offsetof(OwnerlinkRequestMsg, data) == 12,
              "layout of a request");
static_assert(offsetof(OwnerlinkResponseMsg, timeout) == 8 &&
                  offsetof(OwnerlinkResponseMsg, data) == 12,
              "layout of a response");

}  // namespace ProcMgr

/// The manager's side.
namespace Ownerlink::Serialization {

/// Sorts `packedRequest` (pairs of a length and an item's text) and cuts it into records, each with
/// its count in front. False only for an empty list. Items too long for a record are dropped with a
/// log record, and so is the text of a record whose items leave no room for the count; such a
/// record is appended with a `size` above 3888, which an owner refuses.
OWNERLINK_EXPORT bool ProcMgrCombinePiecesMsg(
    std::vector<std::pair<unsigned int, std::string>>& packedRequest,
    std::vector<ProcMgr::OwnerlinkRequestMsg>& msgs);

/// Appends to `windows` how many of the sorted items go into each record.
OWNERLINK_EXPORT void CalculateWindows(
    const std::vector<std::pair<unsigned int, std::string>>& packedRequest,
    std::vector<unsigned int>& windows);

/// Appends one record of `count` items whose joined texts are `text`. Where they leave no room for
/// the count the record has no text, and a `size` above 3888.
OWNERLINK_EXPORT void ProcMgrCombineMsg(unsigned int count, const std::string& text,
                                        std::vector<ProcMgr::OwnerlinkRequestMsg>& msgs);

/// Fills a new record with a system state, any integer. The caller sets the record's time-out.
/// False only if the copy fails.
OWNERLINK_EXPORT bool PackSetSystemStateRequest(int state, ProcMgr::OwnerlinkRequestMsg& msg);

/// Reads an owner's verdict on a system state. False, with `result` untouched, for a bad size.
OWNERLINK_EXPORT bool UnPackSetSystemStateResponse(const ProcMgr::OwnerlinkResponseMsg& resp,
                                                   bool& result);

/// Appends one item for each application to `packedRequest`. False at the first that has a dynamic
/// parameter above 2 or a text above 3887 bytes; the items before it stay.
OWNERLINK_EXPORT bool PackChangeAppInfoRequest(
    const std::vector<AppInfo>& appInfo,
    std::vector<std::pair<unsigned int, std::string>>& packedRequest);

/// Writes the dynamic parameters of one item. False at an index above 2.
OWNERLINK_EXPORT bool PackDynamicPara(std::ostringstream& stream, const AppInfo& appInfo);

/// Reads an owner's verdict and the state of each application, which it sets in `appState`: states
/// above 6 as `INIT`, names that were not asked for as well. False for a bad size, with nothing
/// set, and for a count outside 1 to 1024, with `result` set all the same.
OWNERLINK_EXPORT bool UnPackChangeAppInfoResponseMsg(
    const ProcMgr::OwnerlinkResponseMsg& resp, bool& result,
    std::map<std::string, AppChangeState>& appState);

/// Appends the records that carry `appInfo` (application name to option type), in the order of the
/// names. False for an application whose name does not fit in a record; the records of those before
/// it stay, and where it is the first a record of none.
OWNERLINK_EXPORT bool PackVerifyRequest(const std::map<std::string, unsigned int>& appInfo,
                                        std::vector<ProcMgr::OwnerlinkRequestMsg>& msgs);

}  // namespace Ownerlink::Serialization

/// The owner's side.
namespace ProcMgr::SS {

/// Reads a system state. False only for a size above 3888; `state` is 0 for a text that is no
/// number and untouched for an empty one.
OWNERLINK_EXPORT bool UnPackSetSystemStateRequest(const OwnerlinkRequestMsg* msg, int& state);

/// Fills a new record with the verdict on a system state. False, with a size of 0, if the copy
/// fails.
OWNERLINK_EXPORT bool PackSetSystemStateResponse(bool result, OwnerlinkResponseMsg& resp);

/// Reads one record of changes into `appInfo`, which the caller gives empty. False for a bad size
/// and for counts beyond 1024 applications, 1024 arguments, 3 dynamic parameters (indices up to 2)
/// and 1024 values. A payload that ends early is not detected.
OWNERLINK_EXPORT bool UnPackChangeAppInfoRequestMsg(const OwnerlinkRequestMsg* msg,
                                                    std::vector<AppInfo>& appInfo);

/// Reads the dynamic parameters of one item into `appInfo`, whose former ones go. False beyond the
/// bounds above.
OWNERLINK_EXPORT bool UnPackDynamicPara(std::istringstream& stream, AppInfo& appInfo);

/// Fills a new record with the verdict on a change and each application's state. There is no second
/// record: false if that does not fit in one, which then has no text and a `size` above 3888, or is
/// untouched where one application alone does not fit.
OWNERLINK_EXPORT bool PackChangeAppInfoResponse(bool result,
                                                const std::vector<AppChangeInfo>& appChangeInfo,
                                                OwnerlinkResponseMsg& resp);

/// Adds the pairs of one record (application name to option type) to `appInfo`. False for a bad
/// size and for more than 1024 pairs.
OWNERLINK_EXPORT bool UnPackVerifyRequest(const OwnerlinkRequestMsg* msg,
                                          std::map<std::string, unsigned int>& appInfo);

}  // namespace ProcMgr::SS

#endif
