#include <VXViewer/dialogs/FileChoice.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <algorithm>

namespace VX
{

std::filesystem::path withExtension( std::filesystem::path file, const std::string& extension )
{
    if ( toLower( utf8string( file.extension() ) ) != extension )
        file += extension;
    return file;
}

void FileChoice::beginOpen( const std::filesystem::path& folder )
{
    saving_ = false;
    goTo( folder );
}

void FileChoice::beginSave( const std::filesystem::path& folder, std::string name, std::string extension )
{
    saving_ = true;
    name_ = std::move( name );
    extension_ = std::move( extension );
    goTo( folder );
}

void FileChoice::goTo( const std::filesystem::path& folder )
{
    // It may be a part of what is replaced here.
    auto listing = FolderListing::read( folder, allFiles_ );
    folder_ = folder;
    listing_ = std::move( listing );
    marked_.assign( listing_.entries.size(), false );
    cursor_ = 0;
}

void FileChoice::goUp()
{
    // The parent of "/home/me/" is "/home/me".
    const auto here = folder_.has_filename() ? folder_ : folder_.parent_path();
    goTo( here.parent_path() );
}

void FileChoice::showAllFiles( bool all )
{
    allFiles_ = all;
    goTo( folder_ );
}

bool FileChoice::anyMarked() const
{
    return std::find( marked_.begin(), marked_.end(), true ) != marked_.end();
}

void FileChoice::markOnly_( size_t index )
{
    cursor_ = index;
    marked_.assign( marked_.size(), false );
    marked_[index] = true;
}

void FileChoice::click( size_t index, bool add )
{
    const bool was = marked_.at( index );
    if ( add )
        marked_[index] = !was;
    else
        markOnly_( index );
    cursor_ = index;
    if ( saving_ && !listing_.entries[index].isFolder )
        name_ = listing_.entries[index].name;
}

void FileChoice::moveDown()
{
    if ( !marked_.empty() )
        markOnly_( anyMarked() ? std::min( cursor_ + 1, marked_.size() - 1 ) : 0 );
}

void FileChoice::moveUp()
{
    if ( !marked_.empty() )
        markOnly_( cursor_ > 0 ? cursor_ - 1 : 0 );
}

bool FileChoice::activate( size_t index )
{
    const auto& entry = listing_.entries.at( index );
    if ( entry.isFolder )
        goTo( entry.path );
    else if ( saving_ )
        name_ = entry.name;
    else
    {
        marked_[index] = true;
        return true;
    }
    return false;
}

bool FileChoice::activateMarked()
{
    const auto first = std::find( marked_.begin(), marked_.end(), true );
    if ( first == marked_.end() )
        return false;
    return activate( marked_[cursor_] ? cursor_ : size_t( first - marked_.begin() ) );
}

std::vector<std::filesystem::path> FileChoice::markedFiles() const
{
    std::vector<std::filesystem::path> out;
    for ( size_t i = 0; i < marked_.size(); ++i )
        if ( marked_[i] && !listing_.entries[i].isFolder )
            out.push_back( listing_.entries[i].path );
    return out;
}

bool FileChoice::hasName() const
{
    return !trimmed( name_ ).empty();
}

std::filesystem::path FileChoice::saveTarget() const
{
    return folder_ / withExtension( pathFromUtf8( trimmed( name_ ) ), extension_ );
}

bool FileChoice::replaces() const
{
    std::error_code ec;
    return hasName() && std::filesystem::exists( saveTarget(), ec );
}

} // namespace VX
