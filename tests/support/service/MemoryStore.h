#pragma once

#include "support/ScratchFolder.h"

#include "storage/ObjectStore.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace VX::Testing
{

/// Objects in memory, of a store that may be away.
class MemoryStore final : public Backend::ObjectStore
{
public:
    std::string putUrl( const std::string& key, std::chrono::seconds ) override { return key; }
    std::string getUrl( const std::string& key, std::chrono::seconds ) override { return key; }
    tl::expected<std::optional<uint64_t>, Backend::StoreError> sizeOf( const std::string& key ) override
    {
        const std::lock_guard lock( mutex_ );
        const auto found = objects_.find( key );
        return found == objects_.end() ? std::nullopt : std::optional<uint64_t>( found->second.size() );
    }
    tl::expected<void, Backend::StoreError> fetch( const std::string& key, const std::filesystem::path& file ) override
    {
        const std::lock_guard lock( mutex_ );
        ++fetches;
        if ( away )
            return tl::unexpected( Backend::StoreError{ Backend::StoreTrouble::Unavailable, "away" } );
        if ( !objects_.contains( key ) )
            return tl::unexpected( Backend::StoreError{ Backend::StoreTrouble::Missing, "missing" } );
        std::ofstream( file ) << objects_[key];
        return {};
    }
    tl::expected<void, Backend::StoreError> store( const std::string& key, const std::filesystem::path& file ) override
    {
        if ( full )
        {
            ++refused;
            return tl::unexpected( Backend::StoreError{ Backend::StoreTrouble::Unavailable, "full" } );
        }
        if ( !std::filesystem::exists( file ) )
            return tl::unexpected( Backend::StoreError{ Backend::StoreTrouble::Missing, "nothing" } );
        put( key, readFile( file ) );
        ++stored;
        return {};
    }
    void remove( const std::string& key ) override
    {
        const std::lock_guard lock( mutex_ );
        objects_.erase( key );
    }
    void removeOlder( std::chrono::seconds age ) override
    {
        oldest = age.count();
        ++sweeps;
    }
    bool hasRoomFor( uint64_t bytes ) override { return bytes <= room; }
    /// What is there over `most`.
    uint64_t excess() override
    {
        const std::lock_guard lock( mutex_ );
        uint64_t sum = 0;
        for ( const auto& [key, content] : objects_ )
            sum += content.size();
        return sum - std::min<uint64_t>( sum, most );
    }

    void put( const std::string& key, const std::string& content )
    {
        const std::lock_guard lock( mutex_ );
        objects_[key] = content;
    }
    [[nodiscard]] bool contains( const std::string& key )
    {
        const std::lock_guard lock( mutex_ );
        return objects_.contains( key );
    }
    [[nodiscard]] std::string get( const std::string& key )
    {
        const std::lock_guard lock( mutex_ );
        return objects_[key];
    }
    std::atomic<bool> away{ false };
    std::atomic<bool> full{ false };
    std::atomic<uint64_t> room{ uint64_t( 1 ) << 30 };
    std::atomic<uint64_t> most{ UINT64_MAX };
    /// How often what is older was to go, and than what in seconds.
    std::atomic<int> sweeps{ 0 };
    std::atomic<int64_t> oldest{ 0 };
    std::atomic<int> refused{ 0 };
    std::atomic<int> fetches{ 0 };
    std::atomic<int> stored{ 0 };

private:
    std::mutex mutex_;
    std::map<std::string, std::string> objects_;
};

} // namespace VX::Testing
