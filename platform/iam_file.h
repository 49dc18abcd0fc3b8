// Resource files: named endpoints of owner processes, opened like files and spoken to by ioctl.
//
// `open`, `read`, `ioctl` and `close` on resource names and their descriptors belong to this
// interface under those four names, as the system's headers declare them. On the hosted platform
// the core's calls of the four are bound to the IAMFile functions below, which other programs may
// call by those names; the rest of a process keeps the system's.
#ifndef OWNERLINK_PLATFORM_IAM_FILE_H
#define OWNERLINK_PLATFORM_IAM_FILE_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// The argument of an ioctl: one buffer that carries the request in and the response out. The caller
// owns it.
typedef struct IAMIoctlArg {
    uint64_t size;  // bytes in `buf`
    void* buf;
} IAMIoctlArg;

// One open file as the owner's hooks see it; opaque to the core.
typedef struct IAMMgrFile IAMMgrFile;

// An owner's hooks. The platform calls them on threads of its own, several at a time.
typedef struct IAMFileOps {
    long (*read)(IAMMgrFile* file, char* buf, unsigned long size, long* out);
    void (*reserved1)(void);
    int (*ioctl)(IAMMgrFile* file, unsigned int cmd, IAMIoctlArg* arg);
    int (*open)(IAMMgrFile* file);
    int (*close)(IAMMgrFile* file);
    void (*reserved5)(void);
} IAMFileOps;

typedef struct IAMServiceDesc {
    const char* name;       // the resource's name
    const IAMFileOps* ops;  // the hooks; a null entry counts as one that fails
    uint32_t timeout;  // milliseconds an exchange may take unless the descriptor says otherwise
} IAMServiceDesc;

static_assert(sizeof(IAMIoctlArg) == 16 && offsetof(IAMIoctlArg, buf) == 8,
              "layout of IAMIoctlArg");
static_assert(sizeof(IAMFileOps) == 48 && offsetof(IAMFileOps, ioctl) == 16,
              "layout of IAMFileOps");
static_assert(offsetof(IAMFileOps, open) == 24 && offsetof(IAMFileOps, close) == 32,
              "layout of IAMFileOps");
static_assert(offsetof(IAMServiceDesc, ops) == 8 && offsetof(IAMServiceDesc, timeout) == 16,
              "layout of IAMServiceDesc");

// Publishes the resource `desc->name` for this process. Copies what it keeps before it returns.
// Negative on failure, else 0.
int IAMRegisterService(const IAMServiceDesc* desc);

// Sets the time-out of descriptor `fd` in milliseconds; -1 goes back to the service's own. 0 on
// success.
int IAMResetFileConfig(int fd, int timeoutMs);

// The four calls by their bound names, with the arguments, results and errno of open, read, ioctl
// and close.
int IAMFileOpen(const char* name, int flags, ...);
ssize_t IAMFileRead(int fd, void* buf, size_t count);
int IAMFileIoctl(int fd, unsigned long cmd, ...);
int IAMFileClose(int fd);

#ifdef __cplusplus
}
#endif

#endif
