#pragma once

#include <VXOrvanta/Export.h>
#include <VXViewer/web/WebRequest.h>

#include <tl/expected.hpp>

#include <string>

namespace VX::ConverterService
{

/// Sends a request and waits for its response, whatever it is: a failure is a response too, never the error
/// alternative, which is there for `and_then`. Not for the UI thread.
[[nodiscard]] VXORVANTA_API tl::expected<Json::Value, std::string> fetch( WebRequest request );

} // namespace VX::ConverterService
