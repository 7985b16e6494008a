#include "open/OpenedFiles.h"
#include <VXViewer/scene/SceneRoot.h>

namespace VX::App
{
namespace
{

bool isInScene( const Object& object )
{
    const Object* top = &object;
    while ( top->parent() )
        top = top->parent();
    return top == &sceneRoot();
}

} // namespace

std::filesystem::path fullPath( const std::filesystem::path& file )
{
    std::error_code ec;
    auto full = std::filesystem::absolute( file, ec );
    return ec ? file : full.lexically_normal();
}

void OpenedFiles::forgetGone_()
{
    std::erase_if( origins_, []( const auto& entry ) { return entry.second.object.expired(); } );
    for ( auto& [file, opened] : opened_ )
        std::erase_if( opened.objects, []( const auto& object ) { return object.expired(); } );
    std::erase_if( opened_, []( const auto& entry ) { return entry.second.objects.empty(); } );
}

void OpenedFiles::add( const std::filesystem::path& file, const FileIdentity& identity, const Objects& objects )
{
    if ( !opened_.contains( file ) )
        forgetGone_();
    auto& opened = opened_[file];
    opened.identity = identity;
    for ( const auto& object : objects )
    {
        opened.objects.push_back( object );
        origins_[object.get()] = { object, file };
    }
}

OpenedFiles::Objects OpenedFiles::objectsOf( const std::filesystem::path& file ) const
{
    Objects out;
    if ( const auto it = opened_.find( file ); it != opened_.end() )
        for ( const auto& weak : it->second.objects )
            if ( auto object = weak.lock(); object && isInScene( *object ) )
                out.push_back( std::move( object ) );
    return out;
}

const std::filesystem::path* OpenedFiles::fileOf( const Object& object ) const
{
    for ( const Object* one = &object; one; one = one->parent() )
        if ( const auto it = origins_.find( one ); it != origins_.end() && !it->second.object.expired() )
            return &it->second.file;
    return nullptr;
}

std::vector<std::filesystem::path> OpenedFiles::inScene() const
{
    std::vector<std::filesystem::path> out;
    for ( const auto& entry : opened_ )
        if ( !objectsOf( entry.first ).empty() )
            out.push_back( entry.first );
    return out;
}

void OpenedFiles::noteWritten( const std::filesystem::path& file )
{
    if ( const auto it = opened_.find( file ); it != opened_.end() )
        it->second.identity = identityOf( file );
}

bool OpenedFiles::takeChange( const std::filesystem::path& file )
{
    const auto it = opened_.find( file );
    const auto now = identityOf( file );
    if ( it == opened_.end() || now == FileIdentity{} || now == it->second.identity )
        return false;
    it->second.identity = now;
    return !objectsOf( file ).empty();
}

} // namespace VX::App
