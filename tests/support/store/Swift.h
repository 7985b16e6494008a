#pragma once

#include "storage/s3/S3Client.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace VX::Testing
{

/// Of the Swift beside this file, which the tests' fixture starts.
[[nodiscard]] inline std::filesystem::path swiftCertificate()
{
    const char* folder = std::getenv( "ORVANTA_TEST_SWIFT" );
    if ( !folder )
        throw std::runtime_error( "Let ctest run this test, or start tests/support/store/swift and let "
                                  "ORVANTA_TEST_SWIFT name its folder" );
    return std::filesystem::path( folder ) / "certificate.pem";
}

/// Its bucket, which this process trusts from then on.
[[nodiscard]] inline Backend::S3Bucket swiftBucket()
{
    ::setenv( "SSL_CERT_FILE", swiftCertificate().c_str(), 1 );
    return { "https://127.0.0.1:16000", "orvanta", { "test:tester", "testing" } };
}

/// Keys and name of the store of back ends that are started from then on.
inline void letBackendsUse( const Backend::S3Bucket& bucket )
{
    ::setenv( "ORVANTA_S3_KEY", bucket.credentials.accessKey.c_str(), 1 );
    ::setenv( "ORVANTA_S3_SECRET", bucket.credentials.secretKey.c_str(), 1 );
    ::setenv( "ORVANTA_S3_BUCKET", bucket.name.c_str(), 1 );
}

} // namespace VX::Testing
