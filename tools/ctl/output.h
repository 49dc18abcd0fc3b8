// Standard output and error: whole texts, and what kind of reader there is.
#ifndef OWNERLINK_TOOLS_CTL_OUTPUT_H
#define OWNERLINK_TOOLS_CTL_OUTPUT_H

#include <atomic>
#include <mutex>
#include <string>

namespace ctl {

// Thread-safe: texts of verbs that run beside each other are not mixed.
//
// A reader that has gone is no error: what is printed from then on is dropped. Any other failure is
// reported once.
class Output {
public:
    Output();

    void Print(const std::string& text);
    // On standard error: "ownerlinkctl: TEXT", a line as it stands, and a whole text.
    void Complain(const std::string& text);
    void Note(const std::string& line);
    void PrintError(const std::string& text);

    bool HasReader() const { return hasReader_; }
    bool HasFailed() const { return hasFailed_; }
    bool IsColoured() const { return isColoured_; }
    bool HasTerminal() const { return hasTerminal_; }  // standard error, where progress is shown

    // A line of standard error that the next text replaces.
    void ShowProgress(const std::string& text);

private:
    void EraseProgress();

    std::mutex mutex_;
    bool isColoured_;
    bool hasTerminal_;
    bool isProgressShown_ = false;
    std::atomic<bool> hasReader_{true};
    std::atomic<bool> hasFailed_{false};
};

// `text` with its control characters as \xNN, so that no name of an application steers a terminal.
std::string Printable(const std::string& text);

}  // namespace ctl

#endif
