#include <dlfcn.h>
#include <unistd.h>

namespace {

constexpr int kFirstNumber = 0x40000000;

int CloseResource(int /*fd*/)
{
    return 0;
}

}  // namespace

BLOCK
int main()
{
    return close(kFirstNumber);
}
