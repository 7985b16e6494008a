#pragma once

#include "converter/ConversionRunner.h"
#include "serve/Service.h"

#include <tl/expected.hpp>

#include <memory>
#include <string>

namespace VX::Backend
{

/// Nobody alone fills the store, and everybody can have a file of the largest size in it.
[[nodiscard]] JobLimits jobLimits( const ServiceOptions& options );

/// What converts in this process; nothing where the options want no workers here, for then other processes do it.
class Workers
{
public:
    /// Makes their folder and tries one; jobs are taken from `begin` on. What is passed must outlive this object.
    [[nodiscard]] static tl::expected<std::unique_ptr<Workers>, std::string> prepare(
        const ServiceOptions& options, ConversionJobs& jobs, ObjectStore& store );
    Workers( const Workers& ) = delete;
    Workers& operator=( const Workers& ) = delete;

    void begin();
    /// Takes no more; what runs goes on. Any thread.
    void drain();
    /// Whether nothing runs any more after `drain`.
    [[nodiscard]] bool isDrained() const;
    /// Whether a job would find a worker, as far as it is known here. Any thread.
    [[nodiscard]] bool hasWorker() const;

private:
    Workers( const ServiceOptions& options, ConversionJobs& jobs, ObjectStore& store );

    ConversionJobs& jobs_;
    ObjectStore& store_;
    RunnerOptions options_;
    /// Until they begin.
    std::unique_ptr<WorkFolder> folder_;
    std::unique_ptr<WorkerProcess> first_;
    std::unique_ptr<ConversionRunner> runner_;
};

} // namespace VX::Backend
