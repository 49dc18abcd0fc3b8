#include "tools/ctl/owner_fates.h"

#include <unistd.h>

#include <cstdlib>

namespace ctl {
namespace {

constexpr size_t kThreadNameLength = 15;  // the kernel cuts longer ones

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

int ErrorIn(const std::string& text)
{
    const size_t at = text.rfind(",err=");
    return at == std::string::npos
               ? 0
               : static_cast<int>(std::strtol(text.c_str() + at + 5, nullptr, 10));
}

// A record of the one exchange that names the owner in its middle.
bool TakeExchange(const std::string& text, const std::string& resource, Fate& fate)
{
    if (!text.starts_with("SendRequestToOwnerByVfs") ||
        !Contains(text, ",resFileName=" + resource + ',')) {
        return false;
    }
    if (Contains(text, "open failed")) {
        fate = {Outcome::kNotReached, ErrorIn(text)};
    } else if (Contains(text, "ioctl failed")) {
        fate = {Outcome::kNoAnswer, ErrorIn(text)};
    } else if (text.starts_with("SendRequestToOwnerByVfs success") &&
               fate.outcome == Outcome::kNotKnown) {
        fate = {Outcome::kDone, 0};
    }
    return true;
}

// What the library concludes at an operation's end; an earlier reason is the better one.
Outcome ConclusionOf(const std::string& text)
{
    if (Contains(text, "Pack") || Contains(text, "Serialize")) {
        const bool isAnswer = Contains(text, "UnPack") || Contains(text, "Deserialize");
        return isAnswer ? Outcome::kBadAnswer : Outcome::kNotSent;
    }
    if (Contains(text, "SendRequestToOwnerByVfs failed")) {
        return Outcome::kBadAnswer;  // the exchange's own failures have been taken before
    }
    return Outcome::kRefused;
}

bool IsConclusionOn(const std::string& text, const std::string& resource)
{
    return text.ends_with("failed. resFileName=" + resource) ||
           text.ends_with("(file=" + resource + ')') ||
           Contains(text, "SerializeMessage failed. resFileName=" + resource + ',');
}

void TakeConclusion(const LogRecord& record, const std::string& resource, Fate& fate)
{
    const bool isOpen = fate.outcome == Outcome::kNotKnown || fate.outcome == Outcome::kDone;
    if (isOpen && record.isFailure && IsConclusionOn(record.text, resource)) {
        fate = {ConclusionOf(record.text), 0};
    }
}

}  // namespace

std::map<std::string, Fate> FatesOf(const std::vector<LogRecord>& records,
                                    const std::set<std::string>& resources,
                                    const RecordFilter& isOurs)
{
    std::map<std::string, Fate> fates;
    for (const std::string& resource : resources) {
        Fate& fate = fates[resource];
        for (const LogRecord& record : records) {
            if (isOurs(record) && !TakeExchange(record.text, resource, fate)) {
                TakeConclusion(record, resource, fate);
            }
        }
    }
    return fates;
}

RecordFilter FromThreadsNamed(const std::string& name)
{
    return [cut = name.substr(0, kThreadNameLength)](const LogRecord& record) {
        return record.threadName == cut;
    };
}

RecordFilter FromThisThread()
{
    return [thread = gettid()](const LogRecord& record) {
        return record.thread == thread;
    };
}

RecordFilter FromSendersOf(int state, const std::vector<LogRecord>& records)
{
    std::set<pid_t> senders;
    const std::string mark = ", state=" + std::to_string(state) + '(';
    for (const LogRecord& record : records) {
        if (record.text.starts_with("SetSystemState begin. ") && Contains(record.text, mark)) {
            senders.insert(record.thread);
        }
    }
    return [senders](const LogRecord& record) {
        return senders.contains(record.thread);
    };
}

const char* OutcomeText(Outcome outcome)
{
    switch (outcome) {
        case Outcome::kDone:
            return "done";
        case Outcome::kAnswers:
            return "answers";
        case Outcome::kRefused:
            return "refused";
        case Outcome::kNotReached:
            return "not reached";
        case Outcome::kNoAnswer:
            return "no answer";
        case Outcome::kBadAnswer:
            return "bad answer";
        case Outcome::kNotSent:
            return "not sent";
        case Outcome::kSkipped:
            return "skipped";
        case Outcome::kNotKnown:
            return "not known";
    }
    return "";
}

}  // namespace ctl
