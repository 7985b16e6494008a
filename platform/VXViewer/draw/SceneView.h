#pragma once

#include <VXViewer/draw/SceneRenderer.h>
#include <VXViewer/draw/Screenshot.h>
#include <VXViewer/gl/PictureCopy.h>

#include <map>
#include <optional>
#include <string>

namespace VX
{

/// A scene seen through a camera, kept as a picture: it is drawn anew only when the scene, the camera, the size or the
/// settings have changed, and copied to the window otherwise. UI thread, with the context.
class SceneView
{
public:
    explicit SceneView( std::shared_ptr<Object> root );

    [[nodiscard]] const std::shared_ptr<Object>& root() const { return root_; }
    [[nodiscard]] Camera& camera() { return camera_; }
    [[nodiscard]] DrawSettings& settings() { return settings_; }

    /// Shows surfaces over the scene until their owner sets others; none takes them away.
    void setOverlays( const std::string& owner, std::vector<Overlay> overlays );

    void resize( int width, int height );
    enum class Detail
    {
        InTime, ///< coarse while the camera moves, where a software driver could not draw all of it in time
        Full
    };
    /// Seconds after which a camera that has not moved stands still.
    static constexpr double cStandsStill = 0.2;

    /// Whether `draw` would make a new picture.
    [[nodiscard]] bool isOutdated() const;
    /// Whether the picture is coarse, and becomes outdated when the camera stands still.
    [[nodiscard]] bool isCoarse() const { return coarse_; }
    /// Copies the picture, made anew where needed, to a framebuffer of the view's size.
    void draw( GLuint framebuffer, Detail detail = Detail::InTime );
    /// The object at a pixel, or null.
    [[nodiscard]] Object* pick( Vector2f position );
    /// Where what is seen at a pixel stands in the world; nothing for the background.
    [[nodiscard]] std::optional<Vector3d> pickPoint( Vector2f position );

    /// Largest width and height of a picture.
    static constexpr int cMaxPictureSide = 8192;
    /// Draws the scene for a picture of its own, through a camera of any viewport within `cMaxPictureSide`. Without the
    /// background its pixels have alpha. The error says that there is no memory for so large a picture.
    [[nodiscard]] tl::expected<Image, std::string> takePicture( const Camera& camera, const DrawSettings& settings );

private:
    struct Drawn
    {
        uint64_t scene = 0;
        uint64_t camera = 0;
        uint64_t overlays = 0;
        int width = 0;
        int height = 0;
        DrawSettings settings;
        bool operator==( const Drawn& ) const = default;
    };

    [[nodiscard]] Drawn current_() const;
    void updateScene_();
    [[nodiscard]] Box3d shownBox_() const;
    void updateTargets_();
    /// Draws the objects' numbers at one pixel; returns that there.
    [[nodiscard]] GLuint drawIdAt_( int x, int y );
    void prepareDrawing_( int width, int height );
    [[nodiscard]] bool onlyCameraMoved_() const;
    void render_( Detail detail );
    void resolve_();

    std::shared_ptr<Object> root_;
    Camera camera_;
    DrawSettings settings_;
    SceneRenderer renderer_;
    Drawn drawn_;
    uint64_t sceneRevision_ = 0;
    uint64_t overlayRevision_ = 0;
    Box3d overlayBox_;
    std::map<std::string, std::vector<Overlay>> overlays_;
    int width_ = 1;
    int height_ = 1;
    int targetWidth_ = 0;
    int targetHeight_ = 0;
    int samples_ = 0;
    bool coarse_ = false;
    double movedAt_ = 0;
    PictureCopy copy_;
    GlFramebuffer drawing_, resolved_, ids_;
    GlTexture color_, resolvedColor_;
    GlRenderbuffer depth_, idColor_, idDepth_;
};

} // namespace VX
