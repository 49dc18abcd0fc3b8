// What a process of the world has logged.
#ifndef OWNERLINK_TESTS_PROCESS_MANAGER_LOG_H
#define OWNERLINK_TESTS_PROCESS_MANAGER_LOG_H

#include <sys/types.h>
#include <unistd.h>

#include <string>

size_t LoggedCount(const std::string& text, pid_t process = getpid());

// Returns when the text stands in the log so many times; false if that did not come.
bool AwaitLogged(const std::string& text, size_t count = 1, pid_t process = getpid());

#endif
