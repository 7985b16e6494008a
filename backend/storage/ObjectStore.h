#pragma once

#include <tl/expected.hpp>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace VX::Backend
{

/// What is said to an upload before it comes.
enum class Admission
{
    Welcome,
    Gone,    ///< nobody waits for it any more
    NoRoom,  ///< its owner has no room for it
    Unknown, ///< it cannot be found out now
};

enum class StoreTrouble
{
    Missing,    ///< there is no such object, or nothing that could become one
    Unavailable ///< not now: that says nothing about the object
};

struct StoreError
{
    StoreTrouble kind = StoreTrouble::Unavailable;
    std::string text; ///< for the log
};

/// Where uploads and results are kept: a bucket of objects by key. Any thread; errors are for the service's log.
class ObjectStore
{
public:
    virtual ~ObjectStore() = default;

    /// URL that lets its bearer write or read one object until it expires.
    [[nodiscard]] virtual std::string putUrl( const std::string& key, std::chrono::seconds lifetime ) = 0;
    [[nodiscard]] virtual std::string getUrl( const std::string& key, std::chrono::seconds lifetime ) = 0;

    /// The bytes of an object, or nothing where there is none. The error is never `Missing`.
    [[nodiscard]] virtual tl::expected<std::optional<uint64_t>, StoreError> sizeOf( const std::string& key ) = 0;
    /// Copies an object into a new local file.
    [[nodiscard]] virtual tl::expected<void, StoreError> fetch(
        const std::string& key, const std::filesystem::path& file ) = 0;
    /// Makes an object of a local file, which may be moved away by it.
    [[nodiscard]] virtual tl::expected<void, StoreError> store(
        const std::string& key, const std::filesystem::path& file ) = 0;
    virtual void remove( const std::string& key ) = 0;

    /// Removes of a part of the store, each time of the next one, whatever has not been written for so long, known or
    /// not: so a call does not last longer than its part, however much there is.
    virtual void removeOlder( std::chrono::seconds age ) = 0;
    /// Whether that many bytes more would be within what the store is meant to hold in all.
    [[nodiscard]] virtual bool hasRoomFor( uint64_t bytes ) = 0;
    /// Bytes over what the store is meant to hold in all; 0 while there is room.
    [[nodiscard]] virtual uint64_t excess() = 0;
};

} // namespace VX::Backend
