#include "commands/Lines.h"
#include "serve/StoreKeys.h"

namespace VX::Backend::Lines
{

void addPlace( CLI::App& command, DataPlace& place )
{
    command.add_option( "--data", place.data, "Folder of the service's data" );
    command
        .add_option( "--database", place.database,
            "In its place the PostgreSQL that services share, as it is given to \"serve\"" )
        ->envname( "ORVANTA_DATABASE" );
    command.parse_complete_callback(
        [&place]
        {
            if ( place.data.empty() && place.database.empty() )
                throw CLI::RequiredError( "--data or --database" );
        } );
}

void addBucket( CLI::App& command, S3Bucket& bucket )
{
    auto* endpoint = command.add_option( "--store-endpoint", bucket.endpoint,
        "Where uploads and results are, as it is given to \"serve\", with ORVANTA_S3_KEY, ORVANTA_S3_SECRET and "
        "ORVANTA_S3_BUCKET in the environment; else they are in DATA" );
    command.add_option( "--store-region", bucket.credentials.region, "The region that requests to it are signed for" )
        ->needs( endpoint )
        ->capture_default_str();
}

tl::expected<S3Bucket, std::string> withKeys( S3Bucket bucket )
{
    if ( bucket.endpoint.empty() )
        return bucket;
    return foreignStoreKeys().map(
        [&]( const StoreKeys& keys )
        {
            const auto region = bucket.credentials.region;
            bucket.name = keys.bucket;
            bucket.credentials = keys.credentials;
            bucket.credentials.region = region;
            return bucket;
        } );
}

} // namespace VX::Backend::Lines
