#include "platform/fake/call.h"

#include <cstring>

#include "platform/fake/history.h"

namespace OwnerlinkFake::detail {

Call::Call(const std::string& function, const std::string& arguments, const std::string& resource)
{
    const std::string text = function + "(" + arguments + ")";
    Lock lock = LockState();
    number_ = AddCall(lock, function, text);  // before waiting, so that a held call can be seen
    WaitWhileHeld(lock, function, resource, text);
    set_ = TakeResult(lock, function, resource);
}

void Call::Finish(const std::string& text, int error)
{
    const std::string value = text.empty() && error == 0 ? "" : "=" + text;
    const Lock lock = LockState();
    AddResult(lock, number_, error == 0 ? value : value + " " + ErrorName(error));
    errno_.Set(error);
}

long Call::Return(long value, int error)
{
    Finish(std::to_string(value), error);
    return value;
}

std::string ErrorName(int error)
{
    const char* name = strerrorname_np(error);
    return name != nullptr ? name : "errno " + std::to_string(error);
}

}  // namespace OwnerlinkFake::detail
