// What a forked child may do under a sanitizer, whose own locks are not held across a fork: a child
// that meets one which another thread held waits for ever.
#ifndef OWNERLINK_TESTS_SUPPORT_SANITIZERS_H
#define OWNERLINK_TESTS_SUPPORT_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kMayAllocateInChild = false;
#elif defined(__has_feature)
inline constexpr bool kMayAllocateInChild = !__has_feature(address_sanitizer);
#else
inline constexpr bool kMayAllocateInChild = true;
#endif

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kMayEndThreadInChild = false;
#elif defined(__has_feature)
inline constexpr bool kMayEndThreadInChild =
    kMayAllocateInChild && !__has_feature(thread_sanitizer);
#else
inline constexpr bool kMayEndThreadInChild = kMayAllocateInChild;
#endif

#endif
