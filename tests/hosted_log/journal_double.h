// The journal's end of its socket.
#ifndef OWNERLINK_TESTS_HOSTED_LOG_JOURNAL_DOUBLE_H
#define OWNERLINK_TESTS_HOSTED_LOG_JOURNAL_DOUBLE_H

#include <string>

class JournalDouble {
public:
    explicit JournalDouble(const std::string& path);
    ~JournalDouble();
    JournalDouble(const JournalDouble&) = delete;
    JournalDouble& operator=(const JournalDouble&) = delete;

    // The next entry that lies there, "nothing" if there is none.
    std::string Next();
    // Whether the last entry came as a file, and with which seals.
    bool CameAsFile() const { return cameAsFile_; }
    int Seals() const { return seals_; }
    // Takes no more until `Next` has made room.
    void Fill();

private:
    std::string ReadPassed(int file);

    std::string path_;
    int socket_;
    bool cameAsFile_ = false;
    int seals_ = 0;
};

#endif
