// From a name to a connection with its present owner, for every kind of endpoint.
#ifndef OWNERLINK_PLATFORM_HOSTED_ENDPOINT_SEARCH_H
#define OWNERLINK_PLATFORM_HOSTED_ENDPOINT_SEARCH_H

#include <cerrno>
#include <string_view>

#include "platform/hosted/endpoint_record.h"

namespace hosted {

// Calls `connect(directory, endpoint)`, which answers an `Outcome`, with the endpoint of `name` as
// `check(endpoint)`, an errno number, lets it pass. A record may name a life that ended while we
// looked (ENOENT); then the next life's stands there. ENOENT: nobody is up.
template <typename Result, typename Check, typename Connect>
Result ConnectByName(std::string_view name, Check check, Connect connect)
{
    constexpr int kLookUps = 8;  // an owner that changes more often than that is not up
    uint64_t lastTried = 0;
    for (int attempt = 0; attempt < kLookUps; ++attempt) {
        const Outcome<RuntimeDir> directory = OpenRuntimeDir();
        if (!directory) {
            return Result::Failed(directory.error);
        }
        const Outcome<Endpoint> endpoint = ReadEndpoint(directory.value, name);
        if (!endpoint) {
            // EEXIST: the file is another name's.
            return Result::Failed(endpoint.error == EEXIST ? ENOENT : endpoint.error);
        }
        if (const int error = check(endpoint.value); error != 0) {
            return Result::Failed(error);
        }
        if (endpoint.value.instance == lastTried) {
            break;
        }
        lastTried = endpoint.value.instance;
        Result connected = connect(directory.value, endpoint.value);
        if (connected.error != ENOENT) {
            return connected;
        }
    }
    return Result::Failed(ENOENT);
}

}  // namespace hosted

#endif
