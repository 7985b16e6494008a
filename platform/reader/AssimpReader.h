#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/scene/Object.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace VX
{

/// What a person reads of a file that the library did not get through: its own words are for those who know it.
inline constexpr const char* cUnreadable = "it is damaged, or not of the kind that its name says";

/// Reads a file of any format that the assimp library knows into one tree, named after the file. The library does not
/// withstand hostile files: call it in a process that can be lost. Throws
/// std::bad_alloc. The error does not name the file.
[[nodiscard]] tl::expected<std::shared_ptr<Object>, std::string> readWithAssimp(
    const std::filesystem::path& file, const ProgressCallback& progress );

} // namespace VX
