#include <unistd.h>

#include "platform/ezcom.h"

int main(void)
{
    BLOCK
    return EzcomClosePipe(pipe);
}
