#pragma once

#include <tl/expected.hpp>

#include <chrono>
#include <map>
#include <string>

namespace VX::Backend
{

/// Who signs: an access key of an S3-compatible service.
struct S3Credentials
{
    std::string accessKey;
    std::string secretKey;
    std::string region = "us-east-1";
    /// Of temporary keys; empty for others.
    std::string securityToken = {};
};

/// A bucket of an S3-compatible service, and who signs for it.
struct S3Bucket
{
    std::string endpoint; ///< "https://storage.example.org", without a slash at the end
    std::string name;
    S3Credentials credentials;
};

/// A request that its bearer may make until it expires.
struct PresignRequest
{
    std::string method = "GET";
    /// "https://localhost:8443"
    std::string endpoint;
    /// Decoded, with a leading slash.
    std::string path;
    std::chrono::sys_seconds time;
    std::chrono::seconds lifetime{ 900 };
    /// Further parameters of the query, decoded.
    std::map<std::string, std::string> query;
    /// Headers that the bearer must send as they stand here, besides "host"; names in lower case.
    std::map<std::string, std::string> headers;
};

/// The URL of a request, signed as Amazon S3 does it: Signature Version 4 in the query, payload unsigned
/// (https://docs.aws.amazon.com/AmazonS3/latest/API/sigv4-query-string-auth.html).
[[nodiscard]] std::string presign( const PresignRequest& request, const S3Credentials& credentials );

/// The URL of a request about an object, or about the bucket itself where the key is empty: endpoint and path of the
/// request are made of the bucket, which stands in the path.
[[nodiscard]] std::string presign( const S3Bucket& bucket, const std::string& key, PresignRequest request );

/// A request as it came in; path and query still encoded, header names in lower case.
struct PresignedRequest
{
    std::string method;
    std::string path;
    std::string query;
    std::map<std::string, std::string> headers;
};

/// Checks method, path, query, signed headers, signature and expiry of a presigned request. The error is a code of the
/// S3 protocol: "AccessDenied", "SignatureDoesNotMatch", "InvalidAccessKeyId" or "AuthorizationQueryParametersError".
[[nodiscard]] tl::expected<void, std::string> verifyPresigned(
    const PresignedRequest& request, const S3Credentials& credentials, std::chrono::sys_seconds now );

} // namespace VX::Backend
