#include <VXViewer/settings/Config.h>

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>
#include <VXViewer/system/UserDirs.h>

#include <json/writer.h>
#include <spdlog/spdlog.h>

#include <utility>

namespace VX
{
namespace
{

std::filesystem::path file()
{
    return getUserConfigDir() / "config.json";
}

Json::Value readFile()
{
    auto values = deserializeJsonValue( file() );
    return values && values->isObject() ? std::move( *values ) : Json::Value( Json::objectValue );
}

} // namespace

Config& Config::instance()
{
    static Config sConfig;
    return sConfig;
}

Config::Config()
{
    reload();
}

void Config::reload()
{
    auto values = readFile();
    const std::lock_guard lock( mutex_ );
    values_ = std::move( values );
}

bool Config::hasKey( const std::string& key ) const
{
    const std::lock_guard lock( mutex_ );
    return values_.isMember( key );
}

bool Config::getBool( const std::string& key, bool fallback ) const
{
    const std::lock_guard lock( mutex_ );
    const auto& value = std::as_const( values_ )[key];
    return value.isBool() ? value.asBool() : fallback;
}

void Config::setBool( const std::string& key, bool value )
{
    write_( key, value );
}

Json::Value Config::getJsonValue( const std::string& key ) const
{
    const std::lock_guard lock( mutex_ );
    return values_.isMember( key ) ? values_[key] : Json::Value();
}

void Config::setJsonValue( const std::string& key, const Json::Value& value )
{
    write_( key, value );
}

void Config::write_( const std::string& key, const Json::Value& value )
{
    const std::lock_guard lock( mutex_ );
    // Another instance may have changed other settings since we read the file.
    if ( auto current = readFile(); !current.empty() )
        values_ = std::move( current );
    values_[key] = value;
    if ( auto written = writeFileAtomically( file(), values_.toStyledString(), { .mode = 0600 } ); !written )
        spdlog::error( "The settings cannot be kept: {}", written.error() );
}

} // namespace VX
