// A value or the errno number that stands in its place: errno itself is set at the C border alone.
#ifndef OWNERLINK_PLATFORM_HOSTED_OUTCOME_H
#define OWNERLINK_PLATFORM_HOSTED_OUTCOME_H

#include <utility>

namespace hosted {

template <typename T>
struct Outcome {
    T value{};
    int error = 0;  // an errno number; 0 says that `value` holds

    explicit operator bool() const { return error == 0; }
    static Outcome Failed(int number) { return Outcome{T{}, number}; }
};

template <typename T>
Outcome<T> Succeeded(T value)
{
    return Outcome<T>{std::move(value), 0};
}

}  // namespace hosted

#endif
