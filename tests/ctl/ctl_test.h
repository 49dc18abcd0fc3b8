// ownerlinkctl against the owners of the usual configuration.
#ifndef OWNERLINK_TESTS_CTL_CTL_TEST_H
#define OWNERLINK_TESTS_CTL_CTL_TEST_H

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "tests/ctl/program.h"
#include "tests/process/owners_test.h"

// As scripts see them.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitBusy = 3;
inline constexpr int kExitPartly = 4;
inline constexpr int kExitNoOwner = 5;
inline constexpr int kExitTimedOut = 6;
inline constexpr int kExitHopeless = 7;

// `text` with "<APPMGR>" and so on in the place of each owner's resource, and runs of blanks as
// one: rows of a table can then be written down.
std::string Plain(std::string text);

class CtlTest : public OwnersTest {};

#endif
