#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/volume/Volume.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX
{

// One of each kind of file, as `SaveVolume` says.
[[nodiscard]] tl::expected<void, std::string> saveNifti(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress );
[[nodiscard]] tl::expected<void, std::string> saveNrrd(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress );
[[nodiscard]] tl::expected<void, std::string> saveTiff(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress );
[[nodiscard]] tl::expected<void, std::string> saveRaw(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress );

} // namespace VX
