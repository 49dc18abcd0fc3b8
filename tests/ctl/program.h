// ownerlinkctl as a test runs it: words and input in, exit code and both outputs out.
#ifndef OWNERLINK_TESTS_CTL_PROGRAM_H
#define OWNERLINK_TESTS_CTL_PROGRAM_H

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

struct Ended {
    int code = -1;  // 128 and the number for a signal
    std::string out;
    std::string err;
};

// One that runs. Used by one thread; killed and reaped with its object.
class Program {
public:
    enum class Terminal { kNone, kAll };

    explicit Program(const Words& words, Terminal terminal = Terminal::kNone);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void Write(const std::string& text);
    void EndInput();
    void CloseOutput();  // the reader of standard output goes
    void Signal(int number);
    bool AwaitOut(const std::string& text);  // false: it ended without, or nothing came
    // One short wait, for what must be provoked again and again: `count` times the text.
    bool AwaitOutSoon(const std::string& text, size_t count = 1);
    bool AwaitErr(const std::string& text);
    Ended AwaitEnd();
    pid_t Process() const { return process_; }
    std::string Out() const { return out_; }

private:
    void StartOnPipes(const Words& words);
    void StartOnTerminal(const Words& words);
    bool Read(int timeOutMs);  // false: both ends are closed
    bool Await(const std::string& in, const std::string& text);

    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string out_;
    std::string err_;
};

// Runs it to its end.
Ended Ctl(const Words& words, const std::string& input = "");
// The same with standard output in a file.
Ended CtlInto(const std::string& file, const Words& words);
// The same at a terminal, with both outputs in `out`.
Ended CtlAtTerminal(const Words& words, const std::string& input = "");

// For the programs that start while it lives.
class Environment {
public:
    Environment(const std::string& name, const char* value);
    ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    std::string name_;
    std::string former_;
    bool wasSet_;
};

#endif
