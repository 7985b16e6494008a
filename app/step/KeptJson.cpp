#include "step/KeptJson.h"

#include "step/ImportLock.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>
#include <VXViewer/system/UserDirs.h>

#include <json/writer.h>
#include <spdlog/spdlog.h>

namespace VX::App
{

KeptJson::KeptJson( std::string name )
    : name_( std::move( name ) )
{
}

std::filesystem::path KeptJson::file_() const
{
    return getUserConfigDir() / name_;
}

Json::Value KeptJson::read() const
{
    auto value = deserializeJsonValue( file_() );
    return value && value->isObject() ? std::move( *value ) : Json::Value( Json::objectValue );
}

void KeptJson::change( const std::function<bool( Json::Value& value )>& change ) const
{
    const auto turn = ImportLock::forRecords();
    auto value = read();
    if ( !change( value ) )
        return;
    // Not flushed: what a power failure takes costs another conversion.
    if ( auto written =
             writeFileAtomically( file_(), Json::FastWriter().write( value ), { .mode = 0600, .flush = false } );
        !written )
        spdlog::error( "{}", written.error() );
}

} // namespace VX::App
