// A query that is refused memory: whatever step it is refused at, the query ends.
#include <chrono>
#include <exception>
#include <future>
#include <thread>

#include "tests/client/query_app_test.h"
#include "tests/support/failing_allocations.h"

namespace {

using QueryMemory = QueryAppTest;

}  // namespace

TEST_F(QueryMemory, AQueryEndsWhicheverOfItsAllocationsFails)
{
    KeepOneOwner();
    bool hasFailed = true;
    for (int n = 0; hasFailed; ++n) {
        std::promise<bool> promise;
        std::future<bool> future = promise.get_future();
        std::thread([this, n, &promise] {
            FailAllocation(n);
            try {
                Query({"a"});
            } catch (const std::exception&) {
                // or a code: it has ended
            }
            promise.set_value(!IsAllocationToFail());
        }).detach();  // one that hangs cannot be joined
        ASSERT_EQ(future.wait_for(std::chrono::seconds(20)), std::future_status::ready) << n;
        hasFailed = future.get();
    }
}
