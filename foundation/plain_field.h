// Reaches a plain field that several threads touch without a lock. The field keeps its plain type,
// and the access is one that the language defines.
#ifndef OWNERLINK_FOUNDATION_PLAIN_FIELD_H
#define OWNERLINK_FOUNDATION_PLAIN_FIELD_H

#include <atomic>

namespace ProcMgr {

template <typename T>
T LoadPlain(const T& field)
{
    // atomic_ref takes no const object before C++26; a load does not write.
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}

template <typename T>
void StorePlain(T& field, T value)
{
    std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}

}  // namespace ProcMgr

#endif
