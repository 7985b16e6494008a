#pragma once

#include <filesystem>
#include <string>

namespace VX::Testing
{

/// A fresh folder that goes with this object.
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder( const ScratchFolder& ) = delete;
    ScratchFolder& operator=( const ScratchFolder& ) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Writes a file into the folder and returns its path.
    std::filesystem::path write( const std::string& name, const std::string& content ) const;

private:
    std::filesystem::path path_;
};

[[nodiscard]] std::string readFile( const std::filesystem::path& file );

} // namespace VX::Testing
