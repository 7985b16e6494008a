#pragma once

#include "database/engine/SqlSession.h"
#include "database/sqlite/WriteTurn.h"

#include <VXMesh/io/ScratchFolder.h>

#include <filesystem>
#include <memory>
#include <optional>

namespace VX::Backend
{

/// An SQLite file that is only looked at: nothing in its folder changes but by those who use it. One thread at a time.
class DatabaseLook
{
public:
    /// Opens a file that is there. Where nobody uses it, but somebody was cut off who did, a copy is looked at, for
    /// what they wrote last stands beside the file.
    [[nodiscard]] static DatabaseResult<std::unique_ptr<DatabaseLook>> open(
        const std::filesystem::path& file, bool isUsed );
    DatabaseLook( const DatabaseLook& ) = delete;
    DatabaseLook& operator=( const DatabaseLook& ) = delete;

    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> query( const std::string& sql );

private:
    DatabaseLook() = default;

    std::optional<ScratchFolder> copy_;
    WriteTurn turn_;
    std::unique_ptr<SqlSession> session_;
};

} // namespace VX::Backend
