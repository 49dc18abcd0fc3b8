#include "tests/ownerd/configuration_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

ownerd::ReadResult ReadText(const std::string& text)
{
    const std::string path = testing::TempDir() + "ownerd-" + std::to_string(getpid()) + ".yaml";
    std::ofstream(path) << text;
    ownerd::ReadResult result = ownerd::ReadConfiguration(path);
    std::remove(path.c_str());
    for (std::vector<std::string>* lines : {&result.errors, &result.warnings}) {
        for (std::string& line : *lines) {
            EXPECT_EQ(line.rfind(path, 0), 0U) << line;
            line.replace(0, path.size(), "FILE");
        }
    }
    return result;
}

std::string Globals()
{
    return "group: APPMGR\nresource: dp:/res/pm/appmgr\n";
}

std::string WithApplication(const std::string& body)
{
    return Globals() + "applications:\n  camera:\n    command: [/bin/true]\n" + body;
}
