#include "tests/fake/bound_calls.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <utility>

namespace Bound {

int Open(const char* name, int flags)
{
    return open(name, flags);
}

ssize_t Read(int fd, void* buf, std::size_t count)
{
    return read(fd, buf, count);
}

int Ioctl(int fd, unsigned int command, IAMIoctlArg* arg)
{
    return ioctl(fd, command, arg);
}

int Close(int fd)
{
    return close(fd);
}

void Syslog(int priority, const char* text, int number)
{
    syslog(priority, "%s=%d", text, number);
}

int Usleep(unsigned int microseconds)
{
    return usleep(microseconds);
}

int Nanosleep(const timespec* request, timespec* remaining)
{
    return nanosleep(request, remaining);
}

int Gettime(timespec* time)
{
    return clock_gettime(CLOCK_BOOTTIME, time);
}

std::chrono::steady_clock::time_point SteadyNow()
{
    return std::chrono::steady_clock::now();
}

int Access(const char* path)
{
    return access(path, F_OK);
}

char* Realpath(const char* path, char* resolved)
{
    return realpath(path, resolved);
}

std::FILE* Fopen(const char* path)
{
    return std::fopen(path, "rb");
}

int NameThread(const char* name)
{
    return prctl(PR_SET_NAME, name);
}

int GetThreadName()
{
    char name[16];
    return prctl(PR_GET_NAME, name);
}

std::thread StartThread(std::function<void()> body)
{
    return std::thread([body = std::move(body)] { body(); });
}

char* NewArray(std::size_t size)
{
    return new (std::nothrow) char[size];
}

int LoadYaml(std::FILE* file, yaml_document_t* document)
{
    yaml_parser_t parser;
    if (yaml_parser_initialize(&parser) == 0) {
        return 0;
    }
    yaml_parser_set_input_file(&parser, file);
    const int loaded = yaml_parser_load(&parser, document);
    yaml_parser_delete(&parser);
    return loaded;
}

yaml_node_t* RootNode(yaml_document_t* document)
{
    return yaml_document_get_root_node(document);
}

yaml_node_t* Node(yaml_document_t* document, int index)
{
    return yaml_document_get_node(document, index);
}

void DeleteYaml(yaml_document_t* document)
{
    yaml_document_delete(document);
}

}  // namespace Bound
