#include "serve/Storage.h"

#include "clock/SystemTime.h"

namespace VX::Backend
{
namespace
{

EmbeddedStoreOptions embeddedOptions(
    const Foundation& foundation, const ServiceOptions& options, ConversionJobs& jobs, Storage& storage )
{
    EmbeddedStoreOptions out{ options.data / "objects", foundation.storeKeys.bucket, foundation.storeKeys.credentials,
        options.maxUpload, options.maxStored, &systemTime, {}, {}, {} };
    out.admit = [&jobs, &storage]( const std::string& key, uint64_t bytes )
    { return admitUploadInto( storage.objects(), jobs, key, bytes ); };
    out.arrived = [&jobs]( const std::string& key, uint64_t replaced ) { return jobs.noteUpload( key, replaced ); };
    out.cutOff = [&jobs]( const std::string& key, uint64_t bytes ) { jobs.forgetUpload( key, bytes ); };
    return out;
}

S3StoreOptions foreignOptions( const Foundation& foundation, const ServiceOptions& options, ConversionJobs& jobs )
{
    S3StoreOptions out;
    out.bucket = { options.store.endpoint, foundation.storeKeys.bucket, foundation.storeKeys.credentials };
    out.publicEndpoint = options.store.publicEndpoint;
    out.maxTotalSize = options.maxStored;
    out.stored = [&jobs] { return jobs.stored().value_or( StoreSum{} ).bytes; };
    out.clock = &systemTime;
    return out;
}

} // namespace

Storage::Storage( const Foundation& foundation, const ServiceOptions& options, ConversionJobs& jobs )
    : jobs_( jobs )
    , most_( options.maxStored )
{
    if ( options.store.endpoint.empty() )
        embedded_ = std::make_unique<EmbeddedStore>( embeddedOptions( foundation, options, jobs, *this ) );
    else
        foreign_ = std::make_unique<S3Store>( foreignOptions( foundation, options, jobs ) );
}

ObjectStore& Storage::objects()
{
    if ( embedded_ )
        return *embedded_;
    return *foreign_;
}

void Storage::tell( Figures& figures )
{
    const auto sum = stored();
    figures.storedBytes = sum.bytes;
    figures.storedObjects = sum.objects;
    figures.mostStoredBytes = most_;
}

StoreSum Storage::stored()
{
    return embedded_ ? embedded_->stored() : jobs_.stored().value_or( StoreSum{} );
}

} // namespace VX::Backend
