// Pipes between processes. The records are the pipe library's own; the core passes them through by
// pointer.
#ifndef OWNERLINK_PLATFORM_EZCOM_H
#define OWNERLINK_PLATFORM_EZCOM_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct EzcomRequest EzcomRequest;
typedef struct EzcomResponse EzcomResponse;

// Each returns 0 or a positive number on success and a negative errno number on failure: -11 (busy,
// try again) and -12 (no memory now) pass with time, -16 says that a pipe is still in use.
int EzcomSendRequest(int pipe, const EzcomRequest* request);
int EzcomSendResponse(int pipe, const EzcomResponse* response);
int EzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response);
int EzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout);
int EzcomClosePipe(int pipe);

#ifdef __cplusplus
}
#endif

#endif
