#pragma once

#include <VXViewer/Export.h>

#include <json/value.h>

#include <optional>

namespace VX
{

/// What a program's JSON configuration says of the ribbon. A value: read it once, apply it when the viewer runs.
struct RibbonConfig
{
    /// "Schema": captions, icons and tooltips of the tools; see `RibbonSchemaHolder::loadSchema`.
    std::optional<Json::Value> schema;
    /// "Structure": tabs, groups and default lists; see `RibbonSchemaHolder::loadStructure`.
    std::optional<Json::Value> structure;
    /// "UISettings": `{"Theme": "Dark", "TopPanel": "WithTabs"|"NoTabs"|"None", "CenterRibbonItems": false,
    /// "ScenePanel": true, "Toolbar": true, "ViewportLabels": true, "Notifications": true}`, all of them optional.
    /// The theme is the default of users who have not chosen one.
    std::optional<Json::Value> uiSettings;
};

/// Takes the members "Schema", "Structure" and "UISettings" that are objects; others are left out, named in the log.
[[nodiscard]] VXVIEWER_API RibbonConfig createRibbonConfigFromJson( const Json::Value& root );

/// Applies what the configuration has to the schema and to the viewer's menu, when it is a `RibbonMenu`. What is wrong
/// in it is skipped, logged by name and told in one notification. UI thread.
VXVIEWER_API void applyRibbonConfig( const RibbonConfig& config );

} // namespace VX
