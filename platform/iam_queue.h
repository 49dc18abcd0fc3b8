/// \file
/// Queues and shared memory: how an owner's events reach the processes that have opened its event
/// resource.
#ifndef OWNERLINK_PLATFORM_IAM_QUEUE_H
#define OWNERLINK_PLATFORM_IAM_QUEUE_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// One open file of a queue resource. The platform owns it.
typedef struct IamQfsMgrFile {
    void* reserved0;   ///< the platform's
    const char* name;  ///< zero-terminated, may be null
    void* reserved16;  ///< the platform's
    void* queue;       ///< opaque, for IAMDataEnqueue
} IamQfsMgrFile;

/// A shared-memory pool; opaque. All zero means that no pool stands behind it.
typedef struct IAMShmPool {
    uint32_t opaque[67];  ///< the platform's; copied with the record
} IAMShmPool;

/// A block of a pool; opaque.
typedef struct IAMShmBlock {
    uint32_t opaque[2];  ///< the platform's; copied with the record
} IAMShmBlock;

/// An owner's hooks for its queue. Never called from within a call of this header.
typedef struct IAMQueueOps {
    void (*reserved0)(void);  ///< null
    void (*reserved1)(void);  ///< null
    /// A subscriber has opened the queue. Negative: its `open` fails.
    int (*open)(IamQfsMgrFile* file);
    /// It has closed it or died; called for each file whose open hook ran. 0: the platform may use
    /// `file` again.
    int (*close)(IamQfsMgrFile* file);
    void (*reserved4)(void);  ///< null
} IAMQueueOps;

/// What an owner publishes. The caller keeps it, strings and hooks included.
typedef struct IAMQueueServiceDesc {
    const char* name;        ///< the resource's name
    const IAMQueueOps* ops;  ///< the hooks
    uint32_t timeout;        ///< milliseconds that a subscriber's `open` may wait for the hook
    uint32_t reserved;       ///< 0
} IAMQueueServiceDesc;

/// The shape of a pool.
typedef struct IAMShmPoolConfig {
    const char* name;     ///< may be null
    uint32_t blockSize;   ///< bytes of each block
    uint32_t blockCount;  ///< blocks that can be out at once
} IAMShmPoolConfig;

static_assert(offsetof(IamQfsMgrFile, name) == 8 && offsetof(IamQfsMgrFile, queue) == 24,
              "layout of IamQfsMgrFile");
static_assert(sizeof(IAMShmPool) == 268, "size of IAMShmPool");
static_assert(sizeof(IAMShmBlock) == 8, "size of IAMShmBlock");
static_assert(sizeof(IAMQueueOps) == 40 && offsetof(IAMQueueOps, open) == 16,
              "layout of IAMQueueOps");
static_assert(offsetof(IAMQueueOps, close) == 24, "layout of IAMQueueOps");
static_assert(sizeof(IAMQueueServiceDesc) == 24 && offsetof(IAMQueueServiceDesc, timeout) == 16,
              "layout of IAMQueueServiceDesc");
static_assert(sizeof(IAMShmPoolConfig) == 16 && offsetof(IAMShmPoolConfig, blockSize) == 8,
              "layout of IAMShmPoolConfig");

/// Publishes the queue resource `desc->name` for this process, for its whole life. Copies what it
/// keeps. Thread-safe. Negative on failure.
int IAMRegisterQueueService(const IAMQueueServiceDesc* desc);

/// Makes a pool of `blockCount` blocks of `blockSize` bytes and fills `pool`. Negative on failure.
int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config, IAMShmPool* pool);

/// Gives a pool back, which no other thread may be using. Negative on failure; 0 for a zeroed pool.
int IAMShmDestroyPool(IAMShmPool* pool);

/// Takes a block of at least `size` bytes from `pool`, which is the caller's until it is given back
/// or enqueued. Never waits. 0 on success; else `block` is untouched: none is free, or none is that
/// large.
int IAMShmHandleMalloc(IAMShmPool* pool, uint32_t size, IAMShmBlock* block);

/// Copies `size` bytes of `source` into `block` at `offset`. 0 on success; else nothing is copied:
/// it would not fit, or the block is not the caller's.
int IAMShmWrite(IAMShmBlock* block, const void* source, uint32_t size, uint32_t offset);

/// Gives a block back to its pool. 0 on success.
int IAMShmFree(IAMShmPool* pool, IAMShmBlock* block);

/// Hands `block` to the reader of `queue` (a file's), which then owns it. Never waits for the
/// reader. Negative on failure, and the block is still the caller's.
int IAMDataEnqueue(void* queue, IAMShmPool* pool, IAMShmBlock* block);

/// Has `callback` called from a thread of the platform, once for each entry that comes in on `fd`,
/// in order and one at a time, until `fd` is closed. `buf` holds `count` bytes during the call. 0
/// on success.
size_t IAMFastReadAsync(int fd, int (*callback)(int fd, void* buf, unsigned long count));

#ifdef __cplusplus
}
#endif

#endif
