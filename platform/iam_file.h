/// \file
/// Resource files: named endpoints of owner processes, opened like files and spoken to by ioctl.
///
/// `open`, `read`, `ioctl` and `close` on resource names and their descriptors belong to this
/// interface under those four names, as the system's headers declare them. On the hosted platform
/// the core's calls of the four are bound to the IAMFile functions below, which other programs may
/// call by those names; the rest of a process keeps the system's.
#ifndef OWNERLINK_PLATFORM_IAM_FILE_H
#define OWNERLINK_PLATFORM_IAM_FILE_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The argument of an ioctl: one buffer that carries the request in and the response out. The
/// caller owns it.
typedef struct IAMIoctlArg {
    uint64_t size;  ///< bytes in `buf`
    void* buf;      ///< the bytes; overwritten by the response, up to `size`
} IAMIoctlArg;

/// One open file as the owner's hooks see it; opaque to the core.
typedef struct IAMMgrFile IAMMgrFile;

/// An owner's hooks. The platform calls them on threads of its own, several at a time, with no lock
/// of its own held; the descriptions say what they answer and what becomes of it.
typedef struct IAMFileOps {
    /// Fills `buf` with at most `size` bytes and returns how many; `*out` is 0 and not looked at.
    /// Negative: the caller's read fails. Asked by whoever watches the owner; must not wait.
    long (*read)(IAMMgrFile* file, char* buf, unsigned long size, long* out);
    void (*reserved1)(void);  ///< null
    /// Serves command `cmd`, with the request in `arg` and the response written over it. The result
    /// is the caller's; negative for a failure.
    int (*ioctl)(IAMMgrFile* file, unsigned int cmd, IAMIoctlArg* arg);
    /// Ahead of a file's first message. Negative: no message of the file is served, and the close
    /// hook runs.
    int (*open)(IAMMgrFile* file);
    /// Once for each file whose open hook ran, after its last message. The result is not looked at.
    int (*close)(IAMMgrFile* file);
    void (*reserved5)(void);  ///< null
} IAMFileOps;

/// What an owner publishes. The caller keeps it, strings and hooks included.
typedef struct IAMServiceDesc {
    const char* name;       ///< the resource's name
    const IAMFileOps* ops;  ///< the hooks; a null entry counts as one that fails
    uint32_t timeout;  ///< milliseconds an exchange may take unless the descriptor says otherwise
} IAMServiceDesc;

static_assert(sizeof(IAMIoctlArg) == 16 && offsetof(IAMIoctlArg, buf) == 8,
              "layout of IAMIoctlArg");
static_assert(sizeof(IAMFileOps) == 48 && offsetof(IAMFileOps, ioctl) == 16,
              "layout of IAMFileOps");
static_assert(offsetof(IAMFileOps, open) == 24 && offsetof(IAMFileOps, close) == 32,
              "layout of IAMFileOps");
static_assert(offsetof(IAMServiceDesc, ops) == 8 && offsetof(IAMServiceDesc, timeout) == 16,
              "layout of IAMServiceDesc");

/// Publishes the resource `desc->name` for this process, for its whole life. Copies what it keeps
/// before it returns. Thread-safe. 0, or negative on failure: the name is held by a living process,
/// or this process may not publish.
int IAMRegisterService(const IAMServiceDesc* desc);

/// Sets the time-out of each exchange on descriptor `fd`: 1 and more milliseconds, or -1 for the
/// service's own. Thread-safe. 0 on success, else the descriptor keeps what it has.
int IAMResetFileConfig(int fd, int timeoutMs);

/// @{
/// The four calls by their bound names, with the arguments, results and errno of open, read, ioctl
/// and close.
int IAMFileOpen(const char* name, int flags, ...);
ssize_t IAMFileRead(int fd, void* buf, size_t count);
int IAMFileIoctl(int fd, unsigned long cmd, ...);
int IAMFileClose(int fd);
/// @}

#ifdef __cplusplus
}
#endif

#endif
