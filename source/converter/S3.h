#pragma once

#include <VXOrvanta/Export.h>

#include <VXViewer/web/WebRequest.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

/// Transfers through presigned URLs of an object storage that speaks Amazon S3's protocol
/// (https://docs.aws.amazon.com/AmazonS3/latest/userguide/using-presigned-url.html). Any thread.
namespace VX::S3
{

/// A request, not yet sent, that uploads `file` by PUT. `progress` may be empty; it gets fractions 0..1 of the transfer
/// on the transport's thread and stops it by returning false. The transfer may take 10 minutes.
[[nodiscard]] VXORVANTA_API WebRequest uploadWithPresignedUrl(
    const std::string& url, const std::filesystem::path& file, ProgressCallback progress );

/// The same for a download into `file`, which is replaced only by a whole answer.
[[nodiscard]] VXORVANTA_API WebRequest downloadWithPresignedUrl(
    const std::string& url, const std::filesystem::path& file, ProgressCallback progress );

/// Whether a transfer has succeeded; else "Connection error" or the transport's text.
[[nodiscard]] VXORVANTA_API tl::expected<void, std::string> parseResponse( const Json::Value& response );

} // namespace VX::S3
