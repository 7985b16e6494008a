#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace VX::Backend
{

/// Makes the folder of a service's data when it is missing, and closes it to others. One that is open to everybody is
/// refused as it is: it is somebody's mistake, or a place of everybody's.
[[nodiscard]] tl::expected<void, std::string> prepareDataFolder( const std::filesystem::path& folder );

/// Gives what an operator has made in the folder as root to the folder's owner, as whom the service runs.
void giveToOwner( const std::filesystem::path& folder );

/// Keeps a folder to one process; it goes with the process, however that ends.
class FolderLock
{
public:
    /// The error names the process that has it.
    [[nodiscard]] static tl::expected<std::unique_ptr<FolderLock>, std::string> take(
        const std::filesystem::path& folder );
    /// Waits for it. For what is held for moments only.
    [[nodiscard]] static tl::expected<std::unique_ptr<FolderLock>, std::string> await(
        const std::filesystem::path& folder );
    /// Whether a process has it; makes no file. For people: it may be another way a moment later.
    [[nodiscard]] static bool isTaken( const std::filesystem::path& folder );
    ~FolderLock();
    FolderLock( const FolderLock& ) = delete;
    FolderLock& operator=( const FolderLock& ) = delete;

private:
    explicit FolderLock( int fd )
        : fd_( fd )
    {
    }
    [[nodiscard]] static tl::expected<std::unique_ptr<FolderLock>, std::string> take_(
        const std::filesystem::path& folder, int operation );
    int fd_;
};

} // namespace VX::Backend
