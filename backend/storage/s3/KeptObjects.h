#pragma once

#include "storage/Presigner.h"

#include <tl/expected.hpp>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace VX::Backend
{

class S3Client;

/// Uploads and results as a command finds them, beside a service or without one: in a folder of data or in a bucket.
/// One thread; a call of a bucket blocks for seconds. Errors are for the operator.
class KeptObjects
{
public:
    /// Those of the bucket, where that has an endpoint; else those in `data`, and none where that is empty, too.
    KeptObjects( std::filesystem::path data, const S3Bucket& bucket );
    ~KeptObjects();

    /// Whether they are far away, so that asking about many of them takes its time.
    [[nodiscard]] bool inBucket() const;
    /// The bytes of an object, or nothing where there is none.
    [[nodiscard]] tl::expected<std::optional<uint64_t>, std::string> sizeOf( const std::string& key ) const;
    /// One that is not there is removed already.
    [[nodiscard]] tl::expected<void, std::string> remove( const std::string& key ) const;

private:
    std::filesystem::path data_;
    std::unique_ptr<S3Client> client_;
};

} // namespace VX::Backend
