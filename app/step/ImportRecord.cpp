#include "step/ImportRecord.h"

#include "step/KeptJson.h"

#include <algorithm>
#include <vector>

namespace VX::App::ImportRecord
{
namespace
{

const KeptJson& file()
{
    static const KeptJson sFile( "imports.json" );
    return sFile;
}

Json::Value toJson( const Entry& entry, uint64_t number )
{
    Json::Value out;
    out["number"] = Json::UInt64( number );
    out["size"] = Json::UInt64( entry.size );
    out["time"] = Json::Int64( entry.time );
    out["sha256"] = entry.digest;
    out["converted"]["inode"] = Json::UInt64( entry.converted.inode );
    out["converted"]["size"] = Json::UInt64( entry.converted.size );
    out["converted"]["time"] = Json::Int64( entry.converted.time );
    return out;
}

uint64_t numberOf( const Json::Value& value, const char* member )
{
    return value.isObject() && value[member].isUInt64() ? value[member].asUInt64() : 0;
}

int64_t timeOf( const Json::Value& value )
{
    return value.isObject() && value["time"].isInt64() ? value["time"].asInt64() : 0;
}

std::optional<Entry> fromJson( const Json::Value& value )
{
    if ( !value.isObject() || !value["sha256"].isString() )
        return {};
    const auto& converted = value["converted"];
    return Entry{ numberOf( value, "size" ), timeOf( value ), value["sha256"].asString(),
        { numberOf( converted, "inode" ), numberOf( converted, "size" ), timeOf( converted ) } };
}

/// Takes out the entries with the lowest numbers.
void bound( Json::Value& entries )
{
    if ( entries.size() <= cMaxEntries )
        return;
    std::vector<std::pair<uint64_t, std::string>> byAge;
    for ( const auto& name : entries.getMemberNames() )
        byAge.emplace_back( numberOf( entries[name], "number" ), name );
    const auto going = byAge.size() - cMaxEntries;
    std::nth_element( byAge.begin(), byAge.begin() + std::ptrdiff_t( going ), byAge.end() );
    for ( size_t i = 0; i < going; ++i )
        entries.removeMember( byAge[i].second );
}

} // namespace

std::optional<Entry> find( const std::string& name )
{
    const auto entries = file().read();
    return entries.isMember( name ) ? fromJson( entries[name] ) : std::nullopt;
}

void add( const std::string& name, const Entry& entry )
{
    file().change(
        [&]( Json::Value& entries )
        {
            uint64_t last = 0;
            for ( const auto& other : entries )
                last = std::max( last, numberOf( other, "number" ) );
            entries[name] = toJson( entry, last + 1 );
            bound( entries );
            return true;
        } );
}

void forget( const std::string& name )
{
    file().change(
        [&]( Json::Value& entries )
        {
            const bool known = entries.isMember( name );
            entries.removeMember( name );
            return known;
        } );
}

} // namespace VX::App::ImportRecord
