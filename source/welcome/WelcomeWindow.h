#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXOrvanta/Export.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>

#include <array>
#include <functional>
#include <memory>

namespace VX
{

class OrvantaRibbonMenu;
class RibbonMenu;
class ShowWelcomeWindowSetting;

inline constexpr const char* cSettingsKeyShowWindow = "cShowWelcomeWindow";

/// The start screen over an empty scene: four panels around the middle of the free area, the user's choice whether they
/// are shown, and its entry in the settings. UI thread; the menu owns it.
class VXORVANTA_API WelcomeWindow
{
public:
    using ItemPressed = std::function<void( const std::shared_ptr<RibbonMenuItem>&, const std::string& )>;

    WelcomeWindow() = default;
    /// Takes the entry out of the settings.
    ~WelcomeWindow();
    WelcomeWindow( const WelcomeWindow& ) = delete;
    WelcomeWindow& operator=( const WelcomeWindow& ) = delete;

    /// Reads the stored choice and adds the entry to the settings. The menu must outlive this object.
    void init( OrvantaRibbonMenu* menu, ItemPressed itemPressed );
    /// Once a frame: hides the screen while there is a visual object or a tool at work.
    void draw();

    [[nodiscard]] bool isShownOnStartup() const { return showOnStartup_; }
    [[nodiscard]] bool isVisible() const { return visible_; }
    /// Whether an empty scene has it: not while a tool is at work, or where there is too little room.
    [[nodiscard]] bool isDue() const;
    /// A new choice; with `applyNow` the screen is shown or hidden at once. The choice is not stored here.
    void setShowOnStartup( bool show, bool applyNow );

private:
    friend class ShowWelcomeWindowSetting;

    /// The menu as what the screen needs of it. Defined where its class is known.
    [[nodiscard]] RibbonMenu& ribbon_() const;
    /// Finds the middle of the free area; false when it is too small for the panels.
    bool updateCenter_();
    /// From the upper left corner to the free area.
    [[nodiscard]] Vector2f coveredPixels_() const;
    [[nodiscard]] bool hasRoom_() const;
    void drawPanels_();
    void drawDragDropArea_();
    void drawQuickstart_();
    void drawCreateSimpleObject_();
    void drawCheckbox_();
    /// A window that stands still at a place of the screen; end it with `ImGui::End` whatever is returned.
    bool beginSubwindow_( const char* name, Vector2f pos, Vector2f size );
    /// A heading and three lines below it, as two of the panels have them.
    void drawTexts_( const char* heading, const std::array<const char*, 3>& lines ) const;
    /// The button in the lower left corner of the two.
    [[nodiscard]] bool drawButton_( const char* caption ) const;
    void drawShapes_() const;

    // Their order is the binary interface: the menu holds this object as it is, before members of its own.
    bool showOnStartup_ = true;
    bool visible_ = true;
    OrvantaRibbonMenu* menu_ = nullptr;
    float scaling_ = 1;
    ItemPressed itemPressed_;
    Vector2f center_;
    std::shared_ptr<ViewerSettingsPlugin> settings_;
    std::shared_ptr<ShowWelcomeWindowSetting> setting_;
};

/// The entry of the settings that mirrors the choice. The order of its functions and members is the binary interface,
/// as with the class that it derives from.
class VXORVANTA_API ShowWelcomeWindowSetting final : public ViewerSettingsPlugin::ExternalSettings
{
public:
    ShowWelcomeWindowSetting( std::string name, WelcomeWindow* owner )
        : name_( std::move( name ) )
        , owner_( owner )
    {
    }
    [[nodiscard]] const std::string& getName() const override { return name_; }
    void draw( float menuScaling ) override;
    /// Shows the screen again in later frames; the stored choice is kept.
    void reset() override;
    [[nodiscard]] const char* separatorName() const override { return "Behavior"; }

private:
    std::string name_;
    WelcomeWindow* owner_;
};

} // namespace VX
