// A file that no trick may reach.
#ifndef OWNERLINK_TESTS_SECURITY_TREASURE_H
#define OWNERLINK_TESTS_SECURITY_TREASURE_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string>
#include <utility>

// One of root's files, as a trick would have it opened, given away or written to.
class Treasure {
public:
    explicit Treasure(std::string path) : path_(std::move(path))
    {
        std::ofstream(path_) << kContent;
        chmod(path_.c_str(), 0600);
    }
    const std::string& Path() const { return path_; }
    void ExpectUntouched() const
    {
        struct stat status = {};
        EXPECT_EQ(stat(path_.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, 0U);
        EXPECT_EQ(status.st_mode & 07777U, 0600U);
        std::ostringstream text;
        text << std::ifstream(path_).rdbuf();
        EXPECT_EQ(text.str(), kContent);
    }

private:
    static constexpr const char* kContent = "nobody may change this";

    std::string path_;
};

#endif
