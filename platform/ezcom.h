/// \file
/// Pipes between processes: requests go either way, calls wait for their responses.
///
/// The core knows the five calls at the top and passes the records through by pointer; every
/// platform has those. What follows them belongs to the hosted platform alone: how records are made
/// and read, and how pipes come to be.
///
/// All calls may be made from any thread. They answer 0 or a positive number on success and a
/// negative errno number on failure, and leave errno alone. Those that every call can answer:
///
///     -EBADF       no open pipe has this number
///     -EFAULT      a null argument
///     -EOPNOTSUPP  the number is a name's and not a pipe's, or the other way round
///     -EPIPE       the peer has closed its end or is dead, or this end is shut down
///     -EPROTO      the peer sent what is no message; only this pipe ended
///     -ENOMEM      no memory now
///
/// A record belongs to whoever made it and is used by one thread at a time.
#ifndef OWNERLINK_PLATFORM_EZCOM_H
#define OWNERLINK_PLATFORM_EZCOM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// @{
/// A record: opaque, the platform's.
typedef struct EzcomRequest EzcomRequest;
typedef struct EzcomResponse EzcomResponse;
/// @}

// Each returns 0 or a positive number on success and a negative errno number on failure: -11 (busy,
// try again) and -12 (no memory now) pass with time, -16 says that a pipe is still in use.
//
// The hosted platform's four that send never wait for room: -11 (EAGAIN) when the peer does not
// read and the socket's buffer is full, or when 64 calls are in flight at this end of the pipe. In
// neither case has anything been sent. A request or response is sent whole or not at all, and those
// that one thread sends arrive in that order.

/// Sends a request that asks for no response.
int EzcomSendRequest(int pipe, const EzcomRequest* request);

/// Sends the response to a call, over the pipe by which that came. -EINVAL when `response` answers
/// none, or one of another pipe. A response to a caller that has given up is dropped there.
int EzcomSendResponse(int pipe, const EzcomResponse* response);

/// Sends a request and waits for its response, however long that takes. Calls of several threads
/// share a pipe, and each gets its own response. `response` is overwritten on success alone.
///
/// While one end waits for a response it keeps up to 64 requests that come in meanwhile; with more,
/// the response behind them is reached when this end has received some of them, or when the peer is
/// gone.
int EzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response);

/// The same within `timeout` milliseconds: 1 or more, or -1 for no limit, else -EINVAL. -ETIMEDOUT:
/// no response came in time; the pipe stays usable, and a late response is taken for no other.
int EzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout);

/// Frees the number, of a pipe or of a name. What has come and was not received is lost; what was
/// sent is not. -16 (EBUSY) while a call of another thread uses it: nothing has happened then.
int EzcomClosePipe(int pipe);

// ---- The hosted platform's own: records.

/// A record's type is any number; its data at most this many bytes.
#define EZCOM_MAX_DATA 65536

/// @{
/// An empty record of type 0, the caller's, or null without memory. Freeing null does nothing.
EzcomRequest* EzcomMakeRequest(void);
EzcomResponse* EzcomMakeResponse(void);
void EzcomFreeRequest(EzcomRequest* request);
void EzcomFreeResponse(EzcomResponse* response);
/// @}

/// @{
/// Copies `size` bytes into a record; `data` may be null when that is 0. -EMSGSIZE above
/// EZCOM_MAX_DATA. After a failure the record is as it was.
int EzcomFillRequest(EzcomRequest* request, uint32_t type, const void* data, size_t size);
int EzcomFillResponse(EzcomResponse* response, uint32_t type, const void* data, size_t size);
/// @}

/// @{
/// What a record, which must not be null here, holds. The bytes are the record's: valid until it is
/// filled, received into or freed; null when there are none.
uint32_t EzcomRequestType(const EzcomRequest* request);
size_t EzcomRequestSize(const EzcomRequest* request);
const void* EzcomRequestData(const EzcomRequest* request);
uint32_t EzcomResponseType(const EzcomResponse* response);
size_t EzcomResponseSize(const EzcomResponse* response);
const void* EzcomResponseData(const EzcomResponse* response);
/// @}

/// 1 when `request` has been received and its sender waits for a response, else 0.
int EzcomAsksForResponse(const EzcomRequest* request);

/// Makes `response` the one to `request`, whatever it holds. -EINVAL when that asks for none.
int EzcomAnswer(EzcomResponse* response, const EzcomRequest* request);

// ---- The hosted platform's own: pipes.
///
// Numbers are the lowest free ones from 0x70000000 on. Of time-outs, in milliseconds, -1 sets no
/// limit and 0 does not wait; below that, -EINVAL. In a forked child all numbers of the parent
/// answer -EBADF.

/// Publishes `name` as the one at which this process takes pipes, and answers a number for it.
/// Names are those of resource files: one name is held by one living process and is a file, a queue
/// or a pipe. -EADDRINUSE: held already; a dead holder's is taken over. -EACCES: this user may not
/// publish. -EINVAL, -ENAMETOOLONG: an empty name, one above 4096 bytes. -ESHUTDOWN: the process is
/// exiting. `EzcomClosePipe` takes the name back; the pipes that were accepted stay.
int EzcomListen(const char* name);

/// Waits for the next peer and answers a pipe to it. Those who may not connect (all but this
/// process's user, root and the connecting group) or have too many pipes here (64 of a process, 128
/// of another user) are turned away and logged. -ETIMEDOUT. -EMFILE: no number or descriptor is
/// left.
int EzcomAcceptPipe(int listener, int timeout);

/// A pipe to the process that holds `name`, which need not have accepted it yet. -ENOENT: nobody
/// holds it. -EACCES: not permitted, or its holder is not to be trusted. -EPROTO: it is no pipe's,
/// or of another version. -ETIMEDOUT: too many wait there to be accepted, for 500 ms.
int EzcomConnectPipe(const char* name);

/// A pipe to a child. `*peerSocket` becomes the other end, a bare socket that is closed on exec: it
/// is the caller's, to be passed on (with dup2, say), taken over there with `EzcomAdoptPipe`, and
/// closed here. As long as anyone holds it open the end of the child is not seen.
int EzcomMakePipe(int* peerSocket);

/// Makes a pipe of a connected Unix SOCK_SEQPACKET socket, such as that of `EzcomMakePipe`. On
/// success `socket` is closed and the pipe stands in its place; on failure it stays the caller's.
/// Whoever handed the socket over vouches for the peer. -EPROTOTYPE: it is of another kind;
/// -ENOTCONN, -ENOTSOCK, -EBADF.
int EzcomAdoptPipe(int socket);

/// Waits for the next request, in the order of their sending, and puts it into `request`, which is
/// overwritten on success alone. -ETIMEDOUT. What a peer sent before its end is received first.
int EzcomReceiveRequest(int pipe, EzcomRequest* request, int timeout);

/// Ends what waits on a pipe or a name, here and at the peer, with -EPIPE: a thread that waits
/// without limit keeps `EzcomClosePipe` from closing. The number stays until that.
int EzcomShutDownPipe(int pipe);

#ifdef __cplusplus
}
#endif

#endif
