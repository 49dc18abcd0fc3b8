// The C border of a pipe's records.
#include <new>

#include "platform/hosted/pipe_message.h"
#include "platform/hosted/pipe_record.h"
#include "platform/hosted/queue_border.h"

static_assert(EZCOM_MAX_DATA == hosted::kMaxPayload, "what a message carries");

namespace hosted {
namespace {

int Fill(PipeRecord* record, uint32_t type, const void* data, size_t size)
{
    return Guarded([&] {
        if (record == nullptr || (data == nullptr && size != 0)) {
            return EFAULT;
        }
        if (size > kMaxPayload) {
            return EMSGSIZE;
        }
        const auto* const bytes = static_cast<const std::byte*>(data);
        std::vector<std::byte> copy(bytes, bytes + size);  // `data` may be the record's own
        record->data = std::move(copy);
        record->type = type;
        return 0;
    });
}

const void* DataOf(const PipeRecord& record)
{
    return record.data.empty() ? nullptr : record.data.data();
}

}  // namespace
}  // namespace hosted

extern "C" {

HOSTED_EXPORT EzcomRequest* EzcomMakeRequest(void)
{
    return new (std::nothrow) EzcomRequest;
}

HOSTED_EXPORT EzcomResponse* EzcomMakeResponse(void)
{
    return new (std::nothrow) EzcomResponse;
}

HOSTED_EXPORT void EzcomFreeRequest(EzcomRequest* request)
{
    delete request;
}

HOSTED_EXPORT void EzcomFreeResponse(EzcomResponse* response)
{
    delete response;
}

// A request that has been received and is filled anew is the caller's own, and asks for nothing.
HOSTED_EXPORT int EzcomFillRequest(EzcomRequest* request, uint32_t type, const void* data,
                                   size_t size)
{
    const int result =
        hosted::Fill(request != nullptr ? &request->record : nullptr, type, data, size);
    if (result == 0) {
        request->call = {};
    }
    return result;
}

HOSTED_EXPORT int EzcomFillResponse(EzcomResponse* response, uint32_t type, const void* data,
                                    size_t size)
{
    return hosted::Fill(response != nullptr ? &response->record : nullptr, type, data, size);
}

HOSTED_EXPORT uint32_t EzcomRequestType(const EzcomRequest* request)
{
    return request->record.type;
}

HOSTED_EXPORT size_t EzcomRequestSize(const EzcomRequest* request)
{
    return request->record.data.size();
}

HOSTED_EXPORT const void* EzcomRequestData(const EzcomRequest* request)
{
    return hosted::DataOf(request->record);
}

HOSTED_EXPORT uint32_t EzcomResponseType(const EzcomResponse* response)
{
    return response->record.type;
}

HOSTED_EXPORT size_t EzcomResponseSize(const EzcomResponse* response)
{
    return response->record.data.size();
}

HOSTED_EXPORT const void* EzcomResponseData(const EzcomResponse* response)
{
    return hosted::DataOf(response->record);
}

HOSTED_EXPORT int EzcomAsksForResponse(const EzcomRequest* request)
{
    return request != nullptr && request->call.sequence != 0 ? 1 : 0;
}

HOSTED_EXPORT int EzcomAnswer(EzcomResponse* response, const EzcomRequest* request)
{
    if (response == nullptr || request == nullptr) {
        return -EFAULT;
    }
    if (request->call.sequence == 0) {
        return -EINVAL;
    }
    response->answers = request->call;
    return 0;
}

}  // extern "C"
