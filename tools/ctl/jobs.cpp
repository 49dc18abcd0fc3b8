#include "tools/ctl/jobs.h"

#include <algorithm>
#include <exception>

namespace ctl {

Jobs::~Jobs()
{
    AwaitAll();
}

void Jobs::Tell(const Job& job, const std::string& what)
{
    output_.Note('[' + std::to_string(job.number) + "] " + what + ": " + job.line);
}

void Jobs::Run(Job& job, const Work& work)
{
    try {
        job.exitCode = work(job.stop);
    } catch (const std::exception& error) {
        output_.Complain(error.what());
    }
    job.hasEnded = true;
}

void Jobs::Start(const std::string& line, bool goesOn, Work work)
{
    Job& job = jobs_.emplace_back();
    job.number = ++last_;
    job.line = line;
    job.goesOn = goesOn;
    Tell(job, "runs");
    try {
        job.thread = std::thread([this, &job, work = std::move(work)] { Run(job, work); });
    } catch (const std::exception&) {
        Tell(job, "did not start");
        jobs_.pop_back();
        throw;
    }
}

void Jobs::Show()
{
    for (const Job& job : jobs_) {
        Tell(job, "runs");
    }
}

bool Jobs::Cancel(int number)
{
    const auto job = std::find_if(jobs_.begin(), jobs_.end(),
                                  [number](const Job& one) { return one.number == number; });
    if (job == jobs_.end()) {
        return false;
    }
    job->stop.Request();
    return true;
}

ExitCode Jobs::Reap()
{
    ExitCode worst = kDone;
    for (auto job = jobs_.begin(); job != jobs_.end();) {
        if (!job->hasEnded) {
            ++job;
            continue;
        }
        job->thread.join();
        worst = std::max(worst, job->exitCode);
        Tell(*job, "ended with " + std::to_string(job->exitCode));
        job = jobs_.erase(job);
    }
    return worst;
}

ExitCode Jobs::AwaitAll()
{
    ExitCode worst = Reap();
    for (Job& job : jobs_) {
        if (job.goesOn) {
            job.stop.Request();
        }
        job.thread.join();
        worst = std::max(worst, job.exitCode);
        Tell(job, "ended with " + std::to_string(job.exitCode));
    }
    jobs_.clear();
    return worst;
}

}  // namespace ctl
