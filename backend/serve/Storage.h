#pragma once

#include "converter/ConversionJobs.h"
#include "monitor/Figures.h"
#include "serve/Foundation.h"
#include "storage/EmbeddedStore.h"
#include "storage/s3/S3Store.h"

namespace VX::Backend
{

/// Where a service keeps uploads and results: in a folder of its own, or at an S3-compatible service.
class Storage
{
public:
    /// Both must outlive it.
    Storage( const Foundation& foundation, const ServiceOptions& options, ConversionJobs& jobs );
    Storage( const Storage& ) = delete;
    Storage& operator=( const Storage& ) = delete;

    [[nodiscard]] ObjectStore& objects();
    /// The store in the folder, which serves its objects itself; null where another service does.
    [[nodiscard]] EmbeddedStore* embedded() { return embedded_.get(); }
    /// What lies there, as far as it is known without asking for long.
    [[nodiscard]] StoreSum stored();
    /// Puts that, and how much may lie there, among the figures.
    void tell( Figures& figures );

private:
    ConversionJobs& jobs_;
    uint64_t most_; ///< bytes
    std::unique_ptr<EmbeddedStore> embedded_;
    std::unique_ptr<S3Store> foreign_;
};

} // namespace VX::Backend
