// The commands of docs/manager-guide.md work as they stand there.

#include <fstream>

#include "tests/ctl/ctl_test.h"
#include "tests/ctl/example_owner.h"

namespace {

// The lines of the blocks marked "sh".
Words CommandsOf(const std::string& document)
{
    Words commands;
    std::ifstream lines(document);
    bool isInside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "```sh") {
            isInside = true;
        } else if (line == "```") {
            isInside = false;
        } else if (isInside) {
            commands.push_back(line);
        }
    }
    return commands;
}

int RunInShell(const std::string& command)
{
    const std::string program = OWNERLINKCTL;
    const std::string path = program.substr(0, program.rfind('/'));
    return std::system(("PATH='" + path + "':$PATH; " + command).c_str());
}

}  // namespace

TEST_F(CtlTest, TheCommandsOfTheManagerGuideWork)
{
    Start(DATAMASTER);
    Start(IAM);
    ExampleOwner owner(APPMGR, {"dp:/res/pm/sys_event"});
    const Words commands = CommandsOf(MANAGER_GUIDE);
    ASSERT_GE(commands.size(), 10U);

    for (const std::string& command : commands) {
        EXPECT_EQ(RunInShell(command), 0) << command;
    }
}
