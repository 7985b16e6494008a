#pragma once

#include <VXMesh/Export.h>

#include <filesystem>
#include <string>

namespace VX
{

/// A new empty folder for this user alone, among the temporary files; it goes with this object and with all that is in
/// it.
class VXMESH_API ScratchFolder
{
public:
    /// The name begins with `prefix`, and nobody can guess the rest.
    explicit ScratchFolder( const std::string& prefix );
    ~ScratchFolder();
    ScratchFolder( const ScratchFolder& ) = delete;
    ScratchFolder& operator=( const ScratchFolder& ) = delete;

    /// Empty when it could not be made.
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace VX
