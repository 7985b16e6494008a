#pragma once

#include "files/FoundFile.h"

#include <optional>
#include <string>

namespace VX::App
{

/// Which bytes each converted file of the working folder was made from, as far as this user's programs made it.
///
/// Kept in "imports.json" beside the settings; several programs may use it at once. Any thread.
namespace ImportRecord
{

/// The oldest entries go when there are more.
inline constexpr size_t cMaxEntries = 10000;

struct Entry
{
    /// Of the file that was converted.
    uint64_t size = 0;
    int64_t time = 0;
    std::string digest;
    /// Of the converted file.
    FileIdentity converted;

    [[nodiscard]] bool operator==( const Entry& ) const = default;
};

/// The entry of a converted file by its name ("part.vxu").
[[nodiscard]] std::optional<Entry> find( const std::string& name );
void add( const std::string& name, const Entry& entry );
void forget( const std::string& name );

} // namespace ImportRecord

} // namespace VX::App
