#include "ConfigCheck.h"

#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/ui/ColorTheme.h>

#include <fmt/format.h>

#include <filesystem>
#include <map>

namespace VX::App
{
namespace
{

enum class Kind
{
    Switch,
    Text,
    List,
    Object,
    Theme ///< a name or an object
};

using Members = std::map<std::string, Kind>;

/// The parts of a configuration and what stands in each.
const std::map<std::string, Members>& parts()
{
    static const std::map<std::string, Members> sParts{
        { "Schema", { { "Items", Kind::List } } },
        { "Structure", { { "Tabs", Kind::List }, { "QuickAccess", Kind::Object }, { "SceneButtons", Kind::List } } },
        { "UISettings", { { "Theme", Kind::Theme }, { "TopPanel", Kind::Text }, { "CenterRibbonItems", Kind::Switch },
                            { "ScenePanel", Kind::Switch }, { "Toolbar", Kind::Switch },
                            { "ViewportLabels", Kind::Switch }, { "Notifications", Kind::Switch } } },
        { "MenuLayout", { { "drawWelcomeWindow", Kind::Switch }, { "allowBaseShortcuts", Kind::Switch },
                            { "allowHistoryShortcuts", Kind::Switch } } },
        { "Fonts", { { "Regular", Kind::Text }, { "SemiBold", Kind::Text }, { "Monospace", Kind::Text } } },
    };
    return sParts;
}

bool isOfKind( const Json::Value& value, Kind kind )
{
    switch ( kind )
    {
    case Kind::Switch:
        return value.isBool();
    case Kind::Text:
        return value.isString();
    case Kind::List:
        return value.isArray();
    case Kind::Object:
        return value.isObject();
    case Kind::Theme:
        return value.isString() || value.isObject();
    }
    return false;
}

const char* nameOf( Kind kind )
{
    switch ( kind )
    {
    case Kind::Switch:
        return "true or false";
    case Kind::Text:
        return "a text";
    case Kind::List:
        return "a list";
    case Kind::Object:
        return "an object";
    case Kind::Theme:
        return "the name of a theme or an object";
    }
    return "";
}

bool isKnownTheme( const Json::Value& theme )
{
    return theme.isObject() || theme.asString() == ColorTheme::getPresetName( ColorTheme::Preset::Dark ) ||
           theme.asString() == ColorTheme::getPresetName( ColorTheme::Preset::Light );
}

/// What is wrong with a font file; empty when nothing is.
std::string fontProblem( const std::string& text )
{
    const auto path = pathFromUtf8( text );
    const auto extension = toLower( utf8string( path.extension() ) );
    if ( extension != ".ttf" && extension != ".otf" )
        return fmt::format( "The font \"{}\" is neither a .ttf nor an .otf file", text );
    std::error_code ec;
    if ( !std::filesystem::is_regular_file( path, ec ) )
        return fmt::format( "There is no font file \"{}\"", text );
    return {};
}

/// What is wrong with one member of a part; empty when nothing is.
std::string memberProblem( const std::string& part, const std::string& name, const Json::Value& value )
{
    const auto& members = parts().at( part );
    const auto known = members.find( name );
    if ( known == members.end() )
        return fmt::format( R"("{}" in "{}" is not known)", name, part );
    if ( !isOfKind( value, known->second ) )
        return fmt::format( R"("{}" in "{}" must be {})", name, part, nameOf( known->second ) );
    if ( known->second == Kind::Theme && !isKnownTheme( value ) )
        return fmt::format( "There is no theme \"{}\"; \"Dark\" and \"Light\" are there", value.asString() );
    return part == "Fonts" ? fontProblem( value.asString() ) : std::string();
}

/// What is wrong with a whole part; empty when it can be looked into.
std::string partProblem( const std::string& part, const Json::Value& value )
{
    if ( !parts().contains( part ) )
        return fmt::format( "\"{}\" is not known", part );
    return value.isObject() ? std::string() : fmt::format( "\"{}\" must be an object", part );
}

} // namespace

std::vector<std::string> configProblems( const Json::Value& user )
{
    std::vector<std::string> out;
    const auto add = [&]( std::string problem )
    {
        const bool wrong = !problem.empty();
        if ( wrong )
            out.push_back( std::move( problem ) );
        return wrong;
    };
    for ( const auto& part : user.isObject() ? user.getMemberNames() : std::vector<std::string>() )
        if ( !add( partProblem( part, user[part] ) ) )
            for ( const auto& name : user[part].getMemberNames() )
                add( memberProblem( part, name, user[part][name] ) );
    return out;
}

void tellProblems( const std::vector<std::string>& problems )
{
    auto* menu = currentMenu();
    if ( problems.empty() || !menu )
        return;
    menu->pushNotification( { .header = "Configuration",
        .text = fmt::format( "{}", fmt::join( problems, "\n" ) ),
        .type = NotificationType::Warning,
        .lifeTimeSec = 0 } );
}

Json::Value usableConfig( const Json::Value& user )
{
    Json::Value out( Json::objectValue );
    for ( const auto& part : user.isObject() ? user.getMemberNames() : std::vector<std::string>() )
    {
        if ( !partProblem( part, user[part] ).empty() )
            continue;
        out[part] = Json::Value( Json::objectValue );
        for ( const auto& name : user[part].getMemberNames() )
            if ( memberProblem( part, name, user[part][name] ).empty() )
                out[part][name] = user[part][name];
    }
    return out;
}

} // namespace VX::App
