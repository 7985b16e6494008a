#pragma once

#include "data/DataFolder.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace VX::Backend
{

/// The folder in which one instance keeps those of its workers, among those of others. It has a lock that goes with the
/// process, so that what the dead have left is known from what the living use.
class WorkFolder
{
public:
    /// Makes the folder of an instance below `root`.
    [[nodiscard]] static tl::expected<std::unique_ptr<WorkFolder>, std::string> make(
        const std::filesystem::path& root, const std::string& instance );

    [[nodiscard]] const std::filesystem::path& path() const { return folder_; }
    /// Instances of this machine that had ended when this one was made.
    [[nodiscard]] const std::vector<std::string>& dead() const { return dead_; }
    /// Removes what they have left: nobody is told of them again.
    void sweep();

private:
    WorkFolder() = default;

    std::filesystem::path root_, folder_;
    std::vector<std::string> dead_;
    std::unique_ptr<FolderLock> lock_;
};

} // namespace VX::Backend
