#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/scene/LoadedObjects.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VX
{

/// What became of a file; the error is a text for the user that names the file and says what is wrong with it.
using LoadResult = tl::expected<LoadedObjects, std::string>;
using ObjectLoader = std::function<LoadResult( const std::filesystem::path& file, const ProgressCallback& progress )>;

/// One load of a file by somebody else, such as a service, that holds no thread of ours meanwhile. Any thread, one call
/// at a time.
class AsyncLoad
{
public:
    using Done = std::function<void( LoadResult )>;

    virtual ~AsyncLoad() = default;
    /// Takes what no two loads may have at once, such as working files; false while another load has it. It is given
    /// back with the result, or with this object. May be asked again and again.
    [[nodiscard]] virtual bool tryBegin() = 0;
    /// After `tryBegin`. Calls `done` once: on this thread when nothing has to be asked, else on any other.
    virtual void start( Done done, const ProgressCallback& progress ) = 0;
};

/// One kind of file that can be opened. All functions may be called from any thread, several times at once.
struct FileFormat
{
    /// As a file dialog shows it: "Stanford polygon file".
    std::string name;
    /// In lower case, with the dot; some have two parts, ".nii.gz".
    std::vector<std::string> extensions;
    /// Blocks until the file is read.
    ObjectLoader load;
    /// The same for files that are better loaded side by side than one after the other; may be empty.
    std::function<std::shared_ptr<AsyncLoad>( const std::filesystem::path& file )> loadAsync = {};
    /// Whether a file can be opened only while somebody is signed in; none needs that where it is empty.
    std::function<bool( const std::filesystem::path& file )> needsSignIn = {};
    /// Drops what is kept of former loads of a file; empty where nothing is.
    std::function<void( const std::filesystem::path& file )> forget = {};
};

} // namespace VX
