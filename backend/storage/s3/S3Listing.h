#pragma once

#include <tl/expected.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace VX::Backend
{

/// An object as a listing has it.
struct S3Object
{
    std::string key;
    uint64_t size = 0;
    std::chrono::sys_seconds written;
};

/// A part of what a bucket holds.
struct S3Listing
{
    std::vector<S3Object> objects;
    /// Where the next part begins; empty where nothing follows.
    std::string next;
};

/// Reads the answer to ListObjectsV2
/// (https://docs.aws.amazon.com/AmazonS3/latest/API/API_ListObjectsV2.html). The error says what is not as it should
/// be.
[[nodiscard]] tl::expected<S3Listing, std::string> readListing( const std::string& xml );

/// The code of an error that the service has answered, such as "NoSuchBucket"; empty where there is none.
[[nodiscard]] std::string errorCodeOf( const std::string& xml );

} // namespace VX::Backend
