// A fixture that gives each test a platform in the state of a fresh process, and that lets every
// thread go which a test still holds when it ends.
#ifndef OWNERLINK_TESTS_SUPPORT_PLATFORM_TEST_H
#define OWNERLINK_TESTS_SUPPORT_PLATFORM_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/fake/fake_platform.h"
#include "tests/support/log_matchers.h"

namespace platform = OwnerlinkFake;

class PlatformTest : public ::testing::Test {
protected:
    PlatformTest() { platform::Reset(); }
    ~PlatformTest() override { platform::Reset(); }
};

#endif
