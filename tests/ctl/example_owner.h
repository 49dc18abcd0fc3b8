// The examples' owner, which keeps the states of its applications and reports events.
#ifndef OWNERLINK_TESTS_CTL_EXAMPLE_OWNER_H
#define OWNERLINK_TESTS_CTL_EXAMPLE_OWNER_H

#include "tests/ctl/ctl_test.h"

class ExampleOwner {
public:
    explicit ExampleOwner(GroupOwner group, const Words& more = {})
        : owner_(EXAMPLE_OWNER, WordsOf(group, more))
    {
        EXPECT_TRUE(owner_.AwaitReady());
    }

    bool Await(const std::string& line) { return owner_.Await(line); }
    size_t Count(const std::string& line) { return owner_.Count(line); }
    void Kill() { owner_.Kill(); }

    // Returns when it holds.
    void Tell(const std::string& line)
    {
        const size_t before = owner_.Count("now " + line);
        owner_.Write(line);
        EXPECT_TRUE(owner_.Await("now " + line, before + 1));
    }

private:
    static Words WordsOf(GroupOwner group, const Words& more)
    {
        Words words = {ResourceOf(group)};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    Peer owner_;
};

#endif
