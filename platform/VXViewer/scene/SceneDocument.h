#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/Export.h>

#include <boost/signals2/signal.hpp>
#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace VX
{

class Viewer;

/// The scene as a file: where it was opened from or saved to, and whether it holds work that stands in no file.
///
/// The viewer's history says what is unsaved, and its title shows it. There is one, see `sceneDocument`. UI thread.
class VXVIEWER_API SceneDocument
{
public:
    using Objects = std::vector<std::shared_ptr<Object>>;

    /// Whether a file is a scene by its name: one that can be saved to again.
    [[nodiscard]] static bool isSceneFile( const std::filesystem::path& file );

    explicit SceneDocument( Viewer& viewer );

    /// Where the scene belongs; empty when it was neither opened from a scene file nor saved.
    [[nodiscard]] const std::filesystem::path& file() const { return file_; }
    /// Says where it belongs, for a scene that comes from elsewhere.
    void setFile( std::filesystem::path file );
    [[nodiscard]] bool isSaved() const;

    /// Writes the scene as a .vxu file, where it belongs from here on. The error is a text for the user.
    [[nodiscard]] tl::expected<void, std::string> save( const std::filesystem::path& file );
    /// Puts the objects of a scene file in the place of all others, and begins a new history with it. What was unsaved
    /// is lost: ask first.
    void open( const std::filesystem::path& file, const Objects& objects );
    /// Empties the scene and its history.
    void clear();

    /// A file has been written by `save`.
    boost::signals2::signal<void( const std::filesystem::path& file )> savedSignal;

private:
    void watch_();

    Viewer& viewer_;
    std::filesystem::path file_;
    boost::signals2::scoped_connection changes_, replaced_, closed_;
};

/// The scene of this process's viewer as a file. It exists before the viewer is started and after.
[[nodiscard]] VXVIEWER_API SceneDocument& sceneDocument();

} // namespace VX
