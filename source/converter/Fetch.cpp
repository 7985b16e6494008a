#include <VXOrvanta/converter/Fetch.h>

#include <VXOrvanta/deferred/WebRequestFuture.h>

namespace VX::ConverterService
{

tl::expected<Json::Value, std::string> fetch( WebRequest request )
{
    return WebRequestFuture( std::move( request ) ).get();
}

} // namespace VX::ConverterService
