#pragma once

#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/ribbon/RibbonMenuSearch.h>
#include <VXViewer/ribbon/RibbonMenuUIConfig.h>
#include <VXViewer/ribbon/RibbonSceneObjectsListDrawer.h>
#include <VXViewer/ribbon/Toolbar.h>
#include <VXViewer/schema/ActiveTools.h>

namespace VX
{

/// The menu of a program: a ribbon of tools by tabs and groups, a quick-access toolbar, the scene list, notifications
/// and the dialogs of the tools at work. What is in it is said by `RibbonSchemaHolder`. UI thread.
///
/// Public and protected functions alternate because the order of the virtual ones is the binary interface: programs
/// that are built already find each by its place.
class VXVIEWER_API RibbonMenu : public ImGuiMenu
{
public:
    RibbonMenu();
    ~RibbonMenu() override;

    void init( Viewer* viewer ) override;
    void shutdown() override;

protected:
    /// The basic set, the keys of all tools in the schema, and that of the search.
    void setupShortcuts_() override;

public:
    void pushNotification( const RibbonNotification& notification ) override;
    void removeNotification( const std::string& key ) override;

protected:
    /// Starts or ends a tool. With a requirement that is not met, it is told to the user and nothing is done. Returns
    /// whether the tool did something; false for a null item.
    virtual bool itemPressed_( const std::shared_ptr<RibbonMenuItem>& item, const std::string& requirements );
    /// Draws the buttons under the scene list.
    virtual void drawSceneListButtons_();

public:
    /// A tool's button, row or shortcut was pressed.
    virtual void emitItemPressed( const std::shared_ptr<RibbonMenuItem>& item );

protected:
    /// Why a tool cannot be used now; empty when it can.
    [[nodiscard]] virtual std::string_view getRequirements_( const std::shared_ptr<RibbonMenuItem>& item ) const;
    virtual void drawTopPanel_( bool drawTabs, bool centerItems );
    virtual void drawActiveBlockingDialog_();
    virtual void drawActiveNonBlockingDialogs_();
    virtual void drawRibbonSceneList_();
    virtual void drawRibbonViewportsLabels_();
    /// The tools at work, over the viewport, each with a button that ends it.
    virtual void drawActiveList_();
    virtual void drawNotifications_();
    /// The toolbar and its dialog.
    virtual void drawToolbar_();

public:
    void onSceneClick( Object* object, bool add ) override;
    [[nodiscard]] Vector2f coveredPixels() const override;
    [[nodiscard]] bool isModalShown() const override;

    void setMenuUIConfig( const RibbonMenuUIConfig& config );
    [[nodiscard]] const RibbonMenuUIConfig& getMenuUIConfig() const { return uiConfig_; }

    /// The schema has changed: the toolbar's list is read again, and the keys are bound anew.
    void schemaChanged();

    [[nodiscard]] Toolbar& getToolbar() { return toolbar_; }
    [[nodiscard]] RibbonMenuSearch& getSearch() { return search_; }
    [[nodiscard]] const std::shared_ptr<SceneObjectsListDrawer>& getSceneObjectsList() const { return sceneList_; }
    void selectTab( const std::string& name );
    [[nodiscard]] const std::string& currentTab() const;

    /// Whether a tool is at work.
    [[nodiscard]] bool hasAnyActiveItem() const;
    [[nodiscard]] size_t notificationCount() const;
    /// Notifications with none of these tags are left out; all are shown unless set.
    void setAllowedNotificationTags( unsigned tags ) { allowedTags_ = tags; }

    /// Height of the top panel at scale 1, 0 while it is off.
    [[nodiscard]] float getTopPanelHeight() const;
    /// Width of the scene list in pixels, 0 while it is off.
    [[nodiscard]] float getSceneListWidth() const;
    /// A tool shows a panel beside the scene list, of so many pixels, until it says 0; the scene gives way to it.
    void setSidePanelWidth( float pixels );
    /// Starts a tool that nobody has pressed, unless it is at work.
    void startTool( const std::string& name );

protected:
    /// Binds all keys anew, where they were bound before.
    void rebindShortcuts_();
    /// Binds a key to a tool; nothing happens when there is no such tool. A key that is taken stays with its tool, and
    /// the log says so. `another` is a key beside the one that the tool is known by.
    void addRibbonItemShortcut_(
        const std::string& itemName, ShortcutKey key, ShortcutManager::Category category, bool another = false );
    /// Draws a frame of the menu from back to front. A menu with more to show draws it in the two hooks: before the
    /// labels of the viewport, and over the scene before the notifications, where its helpers are drawn, too;
    /// `anyPanel` is whether the top panel or the scene list was on when the frame began.
    void drawFrame_( const std::function<void()>& beforeLabels, const std::function<void( bool anyPanel )>& overScene );
    /// Reads the list of selected objects that requirements are asked with.
    void updateSelectedObjects_();
    void onEscape_() override;
    [[nodiscard]] std::string captionOf_( const std::string& command ) const override;
    /// Whether an empty scene tells how to open a file, as it does unless a menu has more to say there.
    void wantHint_( bool wanted ) { hintWanted_ = wanted; }

    Toolbar toolbar_;

private:
    struct Parts;
    class Host;

    void drawDialogOf_( const std::shared_ptr<RibbonMenuItem>& item );
    void drawHint_();
    void updateHints_();
    void drawSceneCounts_();

    RibbonMenuUIConfig uiConfig_;
    RibbonMenuSearch search_;
    std::unique_ptr<Host> host_;
    struct SceneCounts
    {
        size_t objects = 0, triangles = 0;
        std::string text;
    };

    std::shared_ptr<SceneObjectsListDrawer> sceneList_;
    SceneCounts sceneCounts_;
    unsigned allowedTags_ = AllNotificationTags;
    float sidePanelWidth_ = 0;
    float activeListWidth_ = 0; ///< in pixels, of the last frame that had one
    SelectedObjects selected_;
    uint64_t selectedRevision_ = 0;
    bool hintWanted_ = true;
    /// Below "Drop a file here"; empty where no key opens one.
    std::string openHint_;
    uint64_t hintsRevision_ = 0;
    ActiveTools active_;
    std::unique_ptr<Parts> parts_;
};

/// The menu of this process's viewer, or null when it has none or another kind.
[[nodiscard]] VXVIEWER_API RibbonMenu* currentRibbonMenu();

} // namespace VX
