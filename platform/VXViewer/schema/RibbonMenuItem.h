#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/Export.h>
#include <VXViewer/dialogs/ShortcutManager.h>

#include <memory>
#include <string>
#include <vector>

namespace VX
{

using SelectedObjects = std::vector<std::shared_ptr<const Object>>;

/// A key that starts a tool.
struct ToolShortcut
{
    ShortcutKey key;
    /// Where the sheet of all keys lists it.
    ShortcutManager::Category category = ShortcutManager::Category::Objects;
    /// A key beside the one that the tool is known by: the sheet tells both, its button the other.
    bool another = false;
};

/// One tool of the ribbon: what its button does. How it looks and where it stands is said by the configuration.
///
/// Tools live in `RibbonSchemaHolder`, where they register themselves with a `RibbonItemRegistrar`, for as long as the
/// program runs. UI thread.
///
///     #include <VXViewer/core/CurrentView.h>
///     #include <VXViewer/schema/RibbonSchema.h>
///
///     class Overview final : public RibbonMenuItem
///     {
///     public:
///         Overview() : RibbonMenuItem( "Overview" ) {}
///         bool action() override
///         {
///             fitViewToScene();
///             return true;
///         }
///     };
///     const RibbonItemRegistrar<Overview> cRegistrar;
class VXVIEWER_API RibbonMenuItem
{
public:
    explicit RibbonMenuItem( std::string name );
    virtual ~RibbonMenuItem();
    RibbonMenuItem( const RibbonMenuItem& ) = delete;
    RibbonMenuItem& operator=( const RibbonMenuItem& ) = delete;

    /// What the configuration, shortcuts and saved lists call it.
    [[nodiscard]] const std::string& name() const { return name_; }

    /// Its button was pressed, or its shortcut. Returns whether something was done.
    virtual bool action() = 0;

    /// The keys that it has unless the configuration gives it others. Asked once, when it is registered.
    [[nodiscard]] virtual std::vector<ToolShortcut> shortcuts() const { return {}; }

    /// Why it cannot be used now: "Select at least one object". Empty when it can. Asked in every frame, so the text is
    /// a constant, or the item keeps it until it is asked again.
    [[nodiscard]] virtual std::string_view isAvailable( const SelectedObjects& selected ) const;

    /// Whether it is at work until pressed again: its button is shown as pressed.
    [[nodiscard]] virtual bool isActive() const { return false; }
    /// Whether it is a mode of the view rather than a tool: active ones are not listed as tools at work.
    [[nodiscard]] virtual bool isToggle() const { return false; }
    /// While a blocking tool is active, no other blocking one can be.
    [[nodiscard]] virtual bool blocking() const { return false; }

    /// Draws its dialog while it is active, at `UI::scale`.
    virtual void drawDialog();

    /// Replaces the tooltip of the configuration when not empty.
    [[nodiscard]] virtual std::string dynamicTooltip() const { return {}; }

private:
    std::string name_;
};

/// A tool that stays at work, with a dialog, until it is ended.
class VXVIEWER_API StatePlugin : public RibbonMenuItem
{
public:
    using RibbonMenuItem::RibbonMenuItem;

    bool action() final;
    [[nodiscard]] bool isActive() const final { return active_; }
    [[nodiscard]] bool blocking() const override { return true; }
    /// Starts or ends it; false when it would not start.
    bool enable( bool on );

protected:
    virtual bool onEnable_() { return true; }
    virtual void onDisable_() {}

private:
    bool active_ = false;
};

} // namespace VX
