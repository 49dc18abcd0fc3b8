// One process as a manager: its client object, its owner table, and what they remember.
#ifndef OWNERLINK_TOOLS_CTL_SESSION_H
#define OWNERLINK_TOOLS_CTL_SESSION_H

#include <ownerlink/client.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/ctl/log_capture.h"
#include "tools/ctl/owner_fates.h"
#include "tools/ctl/owner_table.h"

namespace ctl {

inline constexpr uint32_t kBusyCode = 0xF10300;  // of a state: another change runs

using Fates = std::map<std::string, Fate>;  // by resource file

// What the library answered, and what its records say besides.
struct Answer {
    uint32_t code = 0;
    Fates fates;
    std::vector<LogRecord> records;
};

using AppNames = std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>>;

// Thread-safe; verbs of a shell run beside each other.
//
// One object of the library serves everything, the operations on one owner included: of its two
// objects only the one that changes applications first watches the owners, and each has a time-out
// of its own.
class Session {
public:
    explicit Session(LogCapture& log) : log_(log) {}

    // Read anew until the first operation, and kept from then on if that could load it: as the
    // library does with its own.
    OwnerTable Table();

    Answer SetState(int state, int timeOut);
    Answer Change(const std::vector<AppInfo>& apps, std::vector<AppChangeInfo>& results,
                  int timeOut);
    Answer Query(const std::vector<std::string>& names, std::vector<AppStatus>& answers,
                 int timeOut, int type);
    Answer List(AppNames& names, int timeOut);

    // The control commands: of one owner where there is a `group`.
    enum class Control { kReload, kDump, kStopAll };
    Answer Send(Control control, const ConfiguredOwner* owner, int timeOut);

    // Whether `state` would reach the owners as a cancel.
    bool IsCancel(int state) const;

    // The records that the library writes from here on. Those that no operation needs any more are
    // forgotten; whoever goes on for long does so now and then.
    size_t Mark();
    Fates FatesSince(size_t mark, const RecordFilter& isOurs);

private:
    // While it lives, no record from its mark on is forgotten.
    class Operation {
    public:
        explicit Operation(Session& session) : session_(session), mark_(session.Begin()) {}
        ~Operation() { session_.End(); }
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;
        size_t Mark() const { return mark_; }

    private:
        Session& session_;
        size_t mark_;
    };

    size_t Begin();
    void End();
    void KeepTable();
    void UseTimeOut(int timeOut);
    Answer Conclude(uint32_t code, size_t mark, const RecordFilter& isOurs);
    uint32_t SendToAll(Control control);
    bool SendToOne(Control control, GroupOwner group);

    LogCapture& log_;
    std::mutex operationsMutex_;
    int operations_ = 0;
    std::mutex tableMutex_;
    OwnerTable table_;
    bool isTableKept_ = false;
    // The library takes one change and one query at a time; waiting here instead keeps the records
    // of two apart.
    std::mutex changeMutex_;
    std::mutex queryMutex_;
    std::atomic<int> lastState_{0};
    std::atomic<int> timeOut_{5000};  // of the object, as far as it is known
};

}  // namespace ctl

#endif
