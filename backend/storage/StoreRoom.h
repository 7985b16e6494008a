#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace VX::Backend
{

/// Objects, and their bytes together.
struct StoreSum
{
    uint64_t bytes = 0, objects = 0;
};

/// Takes a part out of a sum, never below nothing, and puts another in.
void exchange( StoreSum& sum, StoreSum from, StoreSum to );

/// How much a store holds and has promised to uploads that are on their way, so that nobody has to count files. Any
/// thread.
class StoreRoom
{
public:
    explicit StoreRoom( uint64_t most )
        : most_( most )
    {
    }

    /// Promises room under a name; false when there is not so much.
    [[nodiscard]] bool reserve( const std::string& name, uint64_t bytes );
    /// Takes a promise back, kept or not; false when there is none of that name.
    bool release( const std::string& name );
    [[nodiscard]] bool hasRoomFor( uint64_t bytes ) const;

    /// What lies there has changed from so much to so much.
    void change( StoreSum from, StoreSum to );
    [[nodiscard]] StoreSum stored() const;
    /// Bytes that lie there over what there should be.
    [[nodiscard]] uint64_t excess() const;

private:
    [[nodiscard]] bool fits_( uint64_t bytes ) const;

    uint64_t most_;
    mutable std::mutex mutex_;
    StoreSum stored_;
    uint64_t promised_ = 0;
    std::map<std::string, uint64_t> promises_;
};

} // namespace VX::Backend
