// The far end of a test's pipe: lines out, whole and from any thread.
#ifndef OWNERLINK_TESTS_PROCESS_PEER_LINES_H
#define OWNERLINK_TESTS_PROCESS_PEER_LINES_H

#include <string>

// Dies with the test, also while stopped.
void FollowTheTest();

// Writes one line to standard output.
void Say(const std::string& line);

#endif
