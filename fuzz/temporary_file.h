// One file of the process's own, whose contents each input replaces.
#ifndef OWNERLINK_FUZZ_TEMPORARY_FILE_H
#define OWNERLINK_FUZZ_TEMPORARY_FILE_H

#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "fuzz/script.h"

namespace fuzz {

class TemporaryFile {
public:
    TemporaryFile() : fd_(mkstemp(path_)) { Require(fd_ >= 0); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile()
    {
        unlink(path_);
        close(fd_);
    }

    const char* Path() const { return path_; }

    void Fill(const std::string& contents) const
    {
        Require(ftruncate(fd_, 0) == 0);
        Require(pwrite(fd_, contents.data(), contents.size(), 0) ==
                static_cast<ssize_t>(contents.size()));
    }

private:
    char path_[28] = "/tmp/ownerlink-fuzz-XXXXXX";
    int fd_;
};

}  // namespace fuzz

#endif
