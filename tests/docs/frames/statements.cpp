#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>
#include <ownerlink/server.h>

#include <iostream>

int main()
{
    OwnerlinkClient& client = OwnerlinkClient::GetInstance();
    std::vector<AppChangeInfo> results;
    static_cast<void>(client);
    BLOCK
    return 0;
}
