#include "platform/hosted/log/journal_sink.h"

#include <cerrno>

#include "platform/hosted/log/journal_socket.h"
#include "platform/hosted/log/levels.h"

namespace hosted::log {
namespace {

constexpr char kUsualSocket[] = "/run/systemd/journal/socket";

// No value holds a line feed, so that the protocol's short form does for all.
void Add(std::string& entry, std::string_view field, std::string_view value)
{
    entry += field;
    entry += '=';
    entry += value;
    entry += '\n';
}

void AddIfKnown(std::string& entry, std::string_view field, std::string_view value)
{
    if (!value.empty()) {
        Add(entry, field, value);
    }
}

bool StartsName(std::string_view text, size_t at)
{
    return at == 0 || text[at - 1] == ' ' || text[at - 1] == '(' || text[at - 1] == ',' ||
           text[at - 1] == ']';
}

std::string_view FindOneFact(std::string_view text, std::string_view name)
{
    for (size_t at = text.find(name); at != std::string_view::npos; at = text.find(name, at + 1)) {
        const size_t equals = at + name.size();
        if (StartsName(text, at) && equals < text.size() && text[equals] == '=') {
            const std::string_view value = text.substr(equals + 1);
            return value.substr(0, value.find_first_of(" ,)"));
        }
    }
    return {};
}

}  // namespace

std::string_view FindFact(std::string_view text, const std::vector<std::string_view>& names)
{
    for (const std::string_view name : names) {
        if (const std::string_view value = FindOneFact(text, name); !value.empty()) {
            return value;
        }
    }
    return {};
}

JournalSink::JournalSink(const std::string& socket)
    : socket_(socket.empty() ? kUsualSocket : socket)
{
}

int JournalSink::Probe()
{
    return ProbeJournal(socket_);
}

int JournalSink::Write(const Line& line)
{
    return SendToJournal(socket_, Entry(line));
}

void JournalSink::NameOwner(const std::string& name)
{
    owners_.push_back(Visible(name));
}

std::string JournalSink::Entry(const Line& line) const
{
    const Origin& origin = line.WrittenBy();
    std::string entry;
    Add(entry, "MESSAGE", line.Text());
    Add(entry, "PRIORITY", std::to_string(SyslogPriority(line.Level())));
    Add(entry, "SYSLOG_IDENTIFIER", Visible(program_invocation_short_name));
    Add(entry, "TID", std::to_string(origin.thread));
    Add(entry, "OWNERLINK_LEVEL", LevelName(line.Level()));
    Add(entry, "OWNERLINK_MODULE", ModuleName(line.Module()));
    AddIfKnown(entry, "OWNERLINK_MILESTONE", line.IsMilestone() ? "1" : "");
    AddIfKnown(entry, "OWNERLINK_THREAD", Visible(origin.threadName));
    AddSubject(entry, line);
    return entry;
}

// A record of the client end tells by its facts which owner and application it is about; all others
// are about what this process owns.
void JournalSink::AddSubject(std::string& entry, const Line& line) const
{
    if (line.Module() == kClientModule) {
        AddIfKnown(entry, "OWNERLINK_OWNER",
                   FindFact(line.Text(), {"resFileName", "secVfs", "secvfs", "file"}));
        AddIfKnown(entry, "OWNERLINK_APPLICATION", FindFact(line.Text(), {"appName"}));
        return;
    }
    for (const std::string& owner : owners_) {
        Add(entry, "OWNERLINK_OWNER", owner);
    }
}

}  // namespace hosted::log
