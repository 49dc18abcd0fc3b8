// The journal of systemd, in its own protocol: one datagram for a record, with the record's parts
// as fields of their own.
//
// No descriptor is kept: a host that becomes a daemon may close all that it does not know, and its
// next file would then have the number. A record that no datagram holds goes as a sealed memfd.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_JOURNAL_SINK_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_JOURNAL_SINK_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/hosted/log/sink.h"

namespace hosted::log {

class JournalSink : public Sink {
public:
    // An empty `socket` is the journal's usual one.
    explicit JournalSink(const std::string& socket);

    int Write(const Line& line) override;
    int Probe() override;
    // What the parent owns is not the child's.
    void EnterChild() override { owners_.clear(); }
    void NameOwner(const std::string& name) override;

private:
    std::string Entry(const Line& line) const;
    void AddSubject(std::string& entry, const Line& line) const;

    std::string socket_;
    std::vector<std::string> owners_;
};

// The value of the first of `names` that stands in `text` as "name=value", up to a blank, a comma
// or a closing bracket. Empty if there is none.
std::string_view FindFact(std::string_view text, const std::vector<std::string_view>& names);

}  // namespace hosted::log

#endif
