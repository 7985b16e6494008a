#pragma once

#include <VXOrvanta/Export.h>

#include <VXViewer/web/WebRequest.h>

#include <tl/expected.hpp>

#include <optional>
#include <string>

/// The wire protocol of the conversion service, version 2: JSON over HTTPS in the envelope {"result": …} or
/// {"error": {"message": …}}. Builders return a request that is configured but not sent; parsers take the response.
/// Any thread; nothing is retried here.
///
/// A conversion calls `requestConvertContext`, uploads to the URL it got, calls `startConvert`, then
/// `checkConvertStatus` until it is finished, and downloads from the URL it got.
namespace VX::ConverterService::V2
{

/// `inputFormat` is the extension of the file without its dot.
[[nodiscard]] VXORVANTA_API WebRequest requestConvertContext( const std::string& inputFormat );

[[nodiscard]] VXORVANTA_API WebRequest startConvert(
    const std::string& requestId, const std::string& inputFormat, const std::string& outputFormat );

[[nodiscard]] VXORVANTA_API WebRequest checkConvertStatus( const std::string& requestId );

struct RequestConvertContextResult
{
    /// The service's name of this conversion.
    std::string requestId;
    /// Presigned URL that takes the upload.
    std::string url;

    [[nodiscard]] VXORVANTA_API static tl::expected<RequestConvertContextResult, std::string> parseResponse(
        const Json::Value& response );
};

/// Its presence means that the service has accepted the start.
struct StartConvertResult
{
    [[nodiscard]] VXORVANTA_API static tl::expected<StartConvertResult, std::string> parseResponse(
        const Json::Value& response );
};

struct CheckConvertStatusResult
{
    enum class State : int
    {
        NotStarted = 1,
        InProgress = 2,
        Finished = 3
    };

    State state = State::NotStarted;
    /// Presigned URL of the converted file; always there once finished.
    std::optional<std::string> url;

    [[nodiscard]] VXORVANTA_API static tl::expected<CheckConvertStatusResult, std::string> parseResponse(
        const Json::Value& response );
};

} // namespace VX::ConverterService::V2
