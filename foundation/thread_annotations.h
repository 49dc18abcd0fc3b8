// The lock contracts that Clang's thread-safety analysis checks, empty elsewhere.
#ifndef OWNERLINK_FOUNDATION_THREAD_ANNOTATIONS_H
#define OWNERLINK_FOUNDATION_THREAD_ANNOTATIONS_H

#if defined(__clang__)
#define OWNERLINK_ANNOTATION(x) __attribute__((x))
#else
#define OWNERLINK_ANNOTATION(x)
#endif

#define CAPABILITY(x) OWNERLINK_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY OWNERLINK_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) OWNERLINK_ANNOTATION(guarded_by(x))
#define REQUIRES(...) OWNERLINK_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) OWNERLINK_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) OWNERLINK_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) OWNERLINK_ANNOTATION(release_capability(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) OWNERLINK_ANNOTATION(acquired_before(__VA_ARGS__))

#endif
