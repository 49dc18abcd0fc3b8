// One call of the double from beginning to end: recorded, held where the test holds it, and given
// the result that the test has set.
#ifndef OWNERLINK_PLATFORM_FAKE_CALL_H
#define OWNERLINK_PLATFORM_FAKE_CALL_H

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/fake/fake_platform.h"
#include "platform/fake/state.h"

namespace OwnerlinkFake::detail {

// Leaves errno as it was when the double has no error to tell.
class ErrnoKeeper {
public:
    ErrnoKeeper() : saved_(errno) {}
    ~ErrnoKeeper() { errno = saved_; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

    void Set(int error)
    {
        if (error != 0) {
            saved_ = error;
        }
    }

private:
    int saved_;
};

class Call {
public:
    // Records the call, waits while it is held, and takes the result that is set for it.
    Call(const std::string& function, const std::string& arguments,
         const std::string& resource = {});

    // The result that the test has set, if any.
    const std::optional<Result>& Set() const { return set_; }

    // Whether the test wants the function to fail.
    bool MustFail() const { return set_ && set_->value < 0; }
    int Error() const { return set_ ? set_->error : 0; }

    // Completes the record with the result's text, which may be empty, and sets errno to `error`
    // unless that is 0.
    void Finish(const std::string& text, int error = 0);

    // The same for a function whose result is a number, which is returned.
    long Return(long value, int error = 0);
    long Return(const Result& result) { return Return(result.value, result.error); }

private:
    ErrnoKeeper errno_;
    uint64_t number_ = 0;
    std::optional<Result> set_;
};

// "ENOENT" for 2.
std::string ErrorName(int error);

// The result set for a call of `function` on `resource`, taken out of the sequence.
std::optional<Result> TakeResult(const Lock& lock, const std::string& function,
                                 const std::string& resource);

// Waits while calls of `function` on `resource` are held; lets the lock go meanwhile.
void WaitWhileHeld(Lock& lock, const std::string& function, const std::string& resource,
                   const std::string& text);

}  // namespace OwnerlinkFake::detail

#endif
