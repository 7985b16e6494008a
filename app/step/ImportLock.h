#pragma once

#include <optional>
#include <string>

namespace VX::App
{

/// Keeps imports apart that would use the same working files, in this program and in all others of this user.
///
/// The locks are places of one file beside the settings, held by a descriptor of their own: they end with the program,
/// however it ends. Any thread.
class ImportLock
{
public:
    /// Takes the working files of a name (see `ConverterService::workingFiles`) for an import; nothing while another
    /// import has them.
    [[nodiscard]] static std::optional<ImportLock> tryTake( const std::string& name );
    /// Keeps every import from beginning; nothing while one is running.
    [[nodiscard]] static std::optional<ImportLock> tryTakeAll();
    /// Waits for the turn to change what is kept about imports, which takes moments.
    [[nodiscard]] static ImportLock forRecords();

    ImportLock( ImportLock&& other ) noexcept;
    ImportLock& operator=( ImportLock&& other ) noexcept;
    ~ImportLock();

private:
    explicit ImportLock( int fd )
        : fd_( fd )
    {
    }

    int fd_;
};

} // namespace VX::App
