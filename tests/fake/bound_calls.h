// Calls as the core makes them: the object behind this header has its references bound like the
// core's, so that its `open` is the double's.
#ifndef OWNERLINK_TESTS_FAKE_BOUND_CALLS_H
#define OWNERLINK_TESTS_FAKE_BOUND_CALLS_H

#include <sys/types.h>
#include <yaml.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <thread>

#include "platform/iam_file.h"

namespace Bound {

int Open(const char* name, int flags);
ssize_t Read(int fd, void* buf, std::size_t count);
int Ioctl(int fd, unsigned int command, IAMIoctlArg* arg);
int Close(int fd);

void Syslog(int priority, const char* text, int number);
int Usleep(unsigned int microseconds);
int Nanosleep(const timespec* request, timespec* remaining);
int Gettime(timespec* time);
std::chrono::steady_clock::time_point SteadyNow();

int Access(const char* path);
char* Realpath(const char* path, char* resolved);
std::FILE* Fopen(const char* path);

int NameThread(const char* name);
int GetThreadName();
std::thread StartThread(std::function<void()> body);
char* NewArray(std::size_t size);

int LoadYaml(std::FILE* file, yaml_document_t* document);
yaml_node_t* RootNode(yaml_document_t* document);
yaml_node_t* Node(yaml_document_t* document, int index);
void DeleteYaml(yaml_document_t* document);

// The same through the fortified spellings.
void FortifiedSyslog(int priority, const char* text, int number);
std::string FortifiedRealpath(const char* path);

}  // namespace Bound

#endif
