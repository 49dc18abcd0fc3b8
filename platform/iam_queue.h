// Queues and shared memory: how an owner's events reach the processes that have opened its event
// resource.
#ifndef OWNERLINK_PLATFORM_IAM_QUEUE_H
#define OWNERLINK_PLATFORM_IAM_QUEUE_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// One open file of a queue resource. The platform owns it.
typedef struct IamQfsMgrFile {
    void* reserved0;
    const char* name;  // zero-terminated, may be null
    void* reserved16;
    void* queue;  // opaque, for IAMDataEnqueue
} IamQfsMgrFile;

// A shared-memory pool; opaque. All zero means that no pool stands behind it.
typedef struct IAMShmPool {
    uint32_t opaque[67];
} IAMShmPool;

// A block of a pool; opaque.
typedef struct IAMShmBlock {
    uint32_t opaque[2];
} IAMShmBlock;

typedef struct IAMQueueOps {
    void (*reserved0)(void);
    void (*reserved1)(void);
    int (*open)(IamQfsMgrFile* file);
    int (*close)(IamQfsMgrFile* file);
    void (*reserved4)(void);
} IAMQueueOps;

typedef struct IAMQueueServiceDesc {
    const char* name;
    const IAMQueueOps* ops;
    uint32_t timeout;  // milliseconds
    uint32_t reserved;
} IAMQueueServiceDesc;

typedef struct IAMShmPoolConfig {
    const char* name;  // may be null
    uint32_t blockSize;
    uint32_t blockCount;
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

// Publishes the queue resource `desc->name`. Copies what it keeps. Negative on failure.
int IAMRegisterQueueService(const IAMQueueServiceDesc* desc);

// Makes a pool of `blockCount` blocks of `blockSize` bytes and fills `pool`. Negative on failure.
int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config, IAMShmPool* pool);

// Gives a pool back. Negative on failure; 0 for a zeroed pool.
int IAMShmDestroyPool(IAMShmPool* pool);

// Takes a block of at least `size` bytes from `pool`. 0 on success.
int IAMShmHandleMalloc(IAMShmPool* pool, uint32_t size, IAMShmBlock* block);

// Copies `size` bytes of `source` into `block` at `offset`. 0 on success.
int IAMShmWrite(IAMShmBlock* block, const void* source, uint32_t size, uint32_t offset);

// Gives a block back to its pool. 0 on success.
int IAMShmFree(IAMShmPool* pool, IAMShmBlock* block);

// Hands `block` to the reader of `queue`, which then owns it. Negative on failure.
int IAMDataEnqueue(void* queue, IAMShmPool* pool, IAMShmBlock* block);

// Has `callback` called from a thread of the platform, once for each entry that comes in on `fd`,
// until `fd` is closed.
size_t IAMFastReadAsync(int fd, int (*callback)(int fd, void* buf, unsigned long count));

#ifdef __cplusplus
}
#endif

#endif
