// The pipe wrappers: what is retried, how often, after which pause, and with which result.
#include <ownerlink/process_manager.h>

#include <cerrno>
#include <functional>

#include "tests/support/platform_test.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Wrapper {
    std::string call;  // of the platform
    std::function<int()> run;
    std::vector<int> retried;
    size_t attempts;
    std::string pause;
};

void PrintTo(const Wrapper& wrapper, std::ostream* out)
{
    *out << wrapper.call;
}

EzcomRequest* const kRequest = reinterpret_cast<EzcomRequest*>(0x10);
EzcomResponse* const kResponse = reinterpret_cast<EzcomResponse*>(0x20);

const Wrapper kWrappers[] = {
    {"EzcomSendRequest",
     [] { return ProcMgr::ProcMgrEzcomSendRequest(3, kRequest); },
     {-11, -12},
     401,
     "nanosleep(5000000)"},
    {"EzcomSendResponse",
     [] { return ProcMgr::ProcMgrEzcomSendResponse(3, kResponse); },
     {-11, -12},
     401,
     "nanosleep(5000000)"},
    {"EzcomRPCSync",
     [] { return ProcMgr::ProcMgrEzcomRPCSync(3, kRequest, kResponse); },
     {-11},
     401,
     "nanosleep(5000000)"},
    {"EzcomTimedRPCSync",
     [] { return ProcMgr::ProcMgrEzcomTimedRPCSync(3, kRequest, kResponse, 250); },
     {-11},
     401,
     "nanosleep(5000000)"},
    {"EzcomClosePipe",
     [] {
         ProcMgr::ProcMgrEzcomClosePipe(3);
         return 0;
     },
     {-16},
     10,
     "nanosleep(100000000)"},
};

class PipeWrapper : public PlatformTest, public ::testing::WithParamInterface<Wrapper> {
protected:
    bool HasResult() const { return GetParam().call != "EzcomClosePipe"; }
};

TEST_P(PipeWrapper, MakesOneCallAndNoPauseForASuccess)
{
    EXPECT_EQ(GetParam().run(), 0);

    EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(1));
    EXPECT_THAT(platform::Calls("nanosleep"), IsEmpty());
}

TEST_P(PipeWrapper, EndsAtAnyOtherResult)
{
    for (const int result : {7, -1, -9, -13, -110}) {
        platform::ClearHistory();
        platform::SetNext(GetParam().call, {{result, 0}});

        const int got = GetParam().run();

        EXPECT_EQ(got, HasResult() ? result : 0);
        EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(1)) << result;
        EXPECT_THAT(platform::Calls("nanosleep"), IsEmpty()) << result;
    }
}

TEST_P(PipeWrapper, RetriesOnItsOwnCodesAlone)
{
    for (const int code : {-11, -12, -16}) {
        platform::ClearHistory();
        platform::SetNext(GetParam().call, {{code, 0}, {5, 0}});
        const auto& retried = GetParam().retried;
        const bool isRetried = std::find(retried.begin(), retried.end(), code) != retried.end();

        const int got = GetParam().run();

        EXPECT_EQ(got, !HasResult() ? 0 : isRetried ? 5 : code) << code;
        EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(isRetried ? 2 : 1)) << code;
        EXPECT_THAT(platform::Calls("nanosleep"), SizeIs(isRetried ? 1 : 0)) << code;
        platform::ClearResults(GetParam().call);
    }
}

TEST_P(PipeWrapper, GivesUpAfterItsAttemptsEachFollowedByAPause)
{
    const int code = GetParam().retried.front();
    platform::SetStanding(GetParam().call, {code, 0});

    EXPECT_EQ(GetParam().run(), HasResult() ? code : 0);

    EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(GetParam().attempts));
    EXPECT_THAT(platform::Calls("nanosleep"), SizeIs(GetParam().attempts));
    EXPECT_THAT(platform::Calls("nanosleep"), Each(GetParam().pause));
    EXPECT_EQ(platform::Calls().back(), GetParam().pause);
}

TEST_P(PipeWrapper, GivesTheResultOfTheLastAttempt)
{
    const int first = GetParam().retried.front();
    const int last = GetParam().retried.back();
    std::vector<platform::Result> results(GetParam().attempts - 1, {first, 0});
    results.push_back({last, 0});
    platform::SetNext(GetParam().call, results);

    EXPECT_EQ(GetParam().run(), HasResult() ? last : 0);

    EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(GetParam().attempts));
}

TEST_P(PipeWrapper, TakesASuccessFromTheLastAttemptWithoutAPauseBehindIt)
{
    std::vector<platform::Result> results(GetParam().attempts - 1, {GetParam().retried.back(), 0});
    results.push_back({0, 0});
    platform::SetNext(GetParam().call, results);

    EXPECT_EQ(GetParam().run(), 0);

    EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(GetParam().attempts));
    EXPECT_THAT(platform::Calls("nanosleep"), SizeIs(GetParam().attempts - 1));
}

TEST_P(PipeWrapper, GoesOnWithWhatIsLeftOfAnInterruptedPause)
{
    platform::SetNext(GetParam().call, {{GetParam().retried.front(), 0}, {0, 0}});
    platform::InterruptSleeps({std::chrono::nanoseconds(7), std::chrono::nanoseconds(3)});

    GetParam().run();

    EXPECT_THAT(platform::Calls("nanosleep"), ElementsAre(GetParam().pause + "=-1 EINTR",
                                                          "nanosleep(7)=-1 EINTR", "nanosleep(3)"));
    EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(2));
}

TEST_P(PipeWrapper, EndsAPauseThatFailsOtherwise)
{
    platform::SetNext(GetParam().call, {{GetParam().retried.front(), 0}, {0, 0}});
    platform::SetNext("nanosleep", {{-1, EINVAL}});

    GetParam().run();

    EXPECT_THAT(platform::Calls("nanosleep"), SizeIs(1));
    EXPECT_THAT(platform::Calls(GetParam().call), SizeIs(2));
}

INSTANTIATE_TEST_SUITE_P(All, PipeWrapper, ::testing::ValuesIn(kWrappers),
                         [](const auto& test) { return test.param.call; });

TEST(PipeArguments, ArePassedOnToEachAttempt)
{
    platform::Reset();
    platform::SetNext("EzcomTimedRPCSync", {{-11, 0}, {0, 0}});

    ProcMgr::ProcMgrEzcomTimedRPCSync(3, kRequest, kResponse, 250);

    const auto calls = platform::PipeCalls();
    ASSERT_THAT(calls, SizeIs(2));
    for (const auto& call : calls) {
        EXPECT_EQ(call.pipe, 3);
        EXPECT_EQ(call.request, kRequest);
        EXPECT_EQ(call.response, kResponse);
        EXPECT_EQ(call.timeoutMs, 250);
    }
}

TEST(PipeArguments, AreTheWrappersOwn)
{
    for (const Wrapper& wrapper : kWrappers) {
        platform::Reset();

        wrapper.run();

        const auto calls = platform::PipeCalls();
        ASSERT_THAT(calls, SizeIs(1));
        const bool hasRequest =
            wrapper.call != "EzcomSendResponse" && wrapper.call != "EzcomClosePipe";
        const bool hasResponse =
            wrapper.call != "EzcomSendRequest" && wrapper.call != "EzcomClosePipe";
        EXPECT_EQ(calls[0].function, wrapper.call);
        EXPECT_EQ(calls[0].pipe, 3);
        EXPECT_EQ(calls[0].request, hasRequest ? kRequest : nullptr);
        EXPECT_EQ(calls[0].response, hasResponse ? kResponse : nullptr);
    }
}

}  // namespace
