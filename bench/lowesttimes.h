// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>

/// Keeps the lowest time of each benchmark over its repetitions, and prints nothing itself.
class LowestTimes : public benchmark::BenchmarkReporter
{
public:
    struct Result {
        double milliseconds = 0;
        benchmark::UserCounters counters;
    };

    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            Result &result = results[run.run_name.function_name];
            const double time = run.GetAdjustedRealTime(); // in the benchmark's unit, which is ms for all of ours
            if (result.milliseconds == 0 || time < result.milliseconds)
                result = {time, run.counters};
        }
    }

    /// 0 when there was no such benchmark.
    double milliseconds(const std::string &name) const
    {
        const auto found = results.find(name);
        return found == results.end() ? 0 : found->second.milliseconds;
    }
    double counter(const std::string &name, const std::string &key) const
    {
        const auto found = results.find(name);
        return found == results.end() ? 0 : double(found->second.counters.at(key));
    }

private:
    std::map<std::string, Result> results;
};
