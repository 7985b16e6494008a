#include "step/ImportLeftovers.h"

#include "files/FoundFile.h"
#include "step/ImportLock.h"
#include "step/ImportRecord.h"
#include "step/KeptJson.h"

#include <VXMesh/io/Path.h>
#include <VXOrvanta/converter/ConverterService.h>

#include <unistd.h>

namespace VX::App::ImportLeftovers
{
namespace
{

using ConverterService::workingFiles;

const KeptJson& file()
{
    static const KeptJson sFile( "imports-begun.json" );
    return sFile;
}

std::string keyOf( const std::filesystem::path& input )
{
    return utf8string( workingFiles( input ).converted.filename() );
}

void removeOurs( const std::filesystem::path& path )
{
    if ( const auto there = lookAt( path ); there && there->isOurs )
        ::unlink( path.c_str() );
}

/// The folder of a request, with the copy that failed packing leaves in it. Anything else in it keeps it.
void removeFolder( const std::filesystem::path& parent, const std::string& name )
{
    if ( name.empty() || name == "." || name == ".." || name.find( '/' ) != std::string::npos )
        return;
    const auto folder = parent / pathFromUtf8( name );
    const auto there = lookAt( folder );
    if ( !there || !there->isFolder || there->owner != ::geteuid() )
        return;
    removeOurs( folder / "input" );
    ::rmdir( folder.c_str() );
}

/// Archive and download carry their name with something after it until they are whole. What ends as a whole one does
/// is that of another input: "a.vxu.step" beside "a.step".
void removeParts( const std::filesystem::path& whole )
{
    const auto prefix = utf8string( whole.filename() ) + ".";
    std::error_code ec;
    for ( std::filesystem::directory_iterator it( whole.parent_path(), ec ), end; !ec && it != end; it.increment( ec ) )
        if ( const auto name = utf8string( it->path().filename() );
            name.starts_with( prefix ) && !name.ends_with( ".vxu" ) && !name.ends_with( ".zip" ) )
            removeOurs( it->path() );
}

void removeLeftOf( const std::string& name, const Json::Value& folders )
{
    const auto files = workingFiles( pathFromUtf8( name ) );
    removeOurs( files.payload );
    removeParts( files.payload );
    removeParts( files.converted );
    if ( !ImportRecord::find( name ) )
        removeOurs( files.converted );
    if ( folders.isArray() )
        for ( const auto& folder : folders )
            if ( folder.isString() )
                removeFolder( files.converted.parent_path(), folder.asString() );
}

} // namespace

void noteImport( const std::filesystem::path& input )
{
    file().change(
        [&]( Json::Value& begun )
        {
            auto& folders = begun[keyOf( input )];
            if ( folders.isArray() )
                return false;
            folders = Json::Value( Json::arrayValue );
            return true;
        } );
}

void noteFolder( const std::filesystem::path& input, const std::filesystem::path& folder )
{
    file().change(
        [&]( Json::Value& begun )
        {
            auto& folders = begun[keyOf( input )];
            if ( !folders.isArray() )
                folders = Json::Value( Json::arrayValue );
            folders.append( utf8string( folder.filename() ) );
            return true;
        } );
}

void tidy()
{
    if ( file().read().empty() )
        return;
    const auto nothingRuns = ImportLock::tryTakeAll();
    if ( !nothingRuns )
        return;
    file().change(
        [&]( Json::Value& begun )
        {
            for ( const auto& name : begun.getMemberNames() )
                removeLeftOf( name, begun[name] );
            begun = Json::Value( Json::objectValue );
            return true;
        } );
}

} // namespace VX::App::ImportLeftovers
