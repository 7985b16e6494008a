#pragma once

#include <VXMesh/system/HashMap.h>
#include <VXViewer/schema/RibbonMenuItem.h>

#include <json/value.h>

#include <cstdint>

namespace VX
{

/// A tool and how it is shown.
struct MenuItemInfo
{
    std::shared_ptr<RibbonMenuItem> item;
    std::string caption;
    std::string tooltip;
    std::string icon;
    /// Names of the tools in its drop-down list.
    std::vector<std::string> dropList;
    std::vector<ToolShortcut> shortcuts;
};

struct RibbonGroup
{
    std::string name;
    std::string icon;
    std::vector<std::string> items;
};

struct RibbonTab
{
    std::string name;
    std::vector<RibbonGroup> groups;
};

/// All tools, and where they stand in the ribbon.
struct RibbonSchema
{
    HashMap<std::string, MenuItemInfo> items;
    std::vector<RibbonTab> tabs;
    std::vector<std::string> quickAccess;
    /// Version of the lists of quick-access tools that this program saves.
    int quickAccessVersion = 1;
    /// Tools of the buttons under the scene list.
    std::vector<std::string> sceneButtons;
};

/// The schema of this process. UI thread, but for static registration.
class VXVIEWER_API RibbonSchemaHolder
{
public:
    [[nodiscard]] static const RibbonSchema& schema();

    /// False when there is a tool of this name already.
    static bool addItem( std::shared_ptr<RibbonMenuItem> item );
    static bool removeItem( const std::string& name );
    [[nodiscard]] static std::shared_ptr<RibbonMenuItem> findItem( const std::string& name );

    struct SearchResult
    {
        std::string name;
        /// Tab in which it stands; empty when in none.
        std::string tab;
    };
    /// Tools whose caption or tooltip fits what was typed, best first.
    [[nodiscard]] static std::vector<SearchResult> search( const std::string& text );

    /// Takes over captions, icons, tooltips, drop-down lists and keys:
    /// `{"Items": [{"Name": "Undo", "Caption": "Undo", "Icon": "undo", "Tooltip": "…", "DropList": ["…"],
    /// "Shortcut": "Ctrl+Z"}]}`. Several keys are a list, of which the first is the one that the tool is known by; an
    /// empty list takes the tool's own away. What is wrong is skipped and reported, one text each.
    [[nodiscard]] static std::vector<std::string> loadSchema( const Json::Value& schema );
    /// Takes over tabs, groups and default lists: `{"Tabs": [{"Name": "Home", "Groups": [{"Name": "File",
    /// "Icon": "open", "List": ["Undo"]}]}], "QuickAccess": {"Version": 2, "List": []}, "SceneButtons": []}`.
    /// What is wrong is skipped and reported. When no tab is left, the tabs stay as they were.
    [[nodiscard]] static std::vector<std::string> loadStructure( const Json::Value& structure );

    /// Grows with each change of the schema.
    [[nodiscard]] static uint64_t revision();
};

/// Adds a tool to the schema while its library is loaded: `const RibbonItemRegistrar<MyTool> cRegistrar;` at namespace
/// scope of the tool's source.
template <typename Item>
class RibbonItemRegistrar
{
public:
    template <typename... Args>
    explicit RibbonItemRegistrar( Args&&... args )
        : item_( std::make_shared<Item>( std::forward<Args>( args )... ) )
    {
        RibbonSchemaHolder::addItem( item_ );
    }
    ~RibbonItemRegistrar() { RibbonSchemaHolder::removeItem( item_->name() ); }
    RibbonItemRegistrar( const RibbonItemRegistrar& ) = delete;
    RibbonItemRegistrar& operator=( const RibbonItemRegistrar& ) = delete;

private:
    std::shared_ptr<Item> item_;
};

} // namespace VX
