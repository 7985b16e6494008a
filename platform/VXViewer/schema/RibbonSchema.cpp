#include <VXViewer/schema/RibbonSchema.h>

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace VX
{
namespace
{

struct Holder
{
    RibbonSchema schema;
    uint64_t revision = 1;
};

Holder& holder()
{
    // Never destroyed: registrars of libraries take their tools out at any time during exit.
    static auto* sHolder = new Holder;
    return *sHolder;
}

using Problems = std::vector<std::string>;

/// Names in a list that are tools; the others are reported, and so is a name given twice.
std::vector<std::string> readNames( const Json::Value& list, const std::string& where, Problems& problems )
{
    std::vector<std::string> out;
    if ( list.isNull() )
        return out;
    if ( !list.isArray() )
    {
        problems.push_back( fmt::format( "{} is not a list", where ) );
        return out;
    }
    std::set<std::string> seen;
    for ( const auto& value : list )
    {
        if ( !value.isString() )
            problems.push_back( fmt::format( "{} holds something that is not a name", where ) );
        else if ( !holder().schema.items.contains( value.asString() ) )
            problems.push_back(
                fmt::format( "{} names the tool \"{}\", which does not exist", where, value.asString() ) );
        else if ( !seen.insert( value.asString() ).second )
            problems.push_back( fmt::format( "{} names the tool \"{}\" twice", where, value.asString() ) );
        else
            out.push_back( value.asString() );
    }
    return out;
}

/// Keys of a tool, listed where its own are.
std::vector<ToolShortcut> readShortcuts( const Json::Value& value, const MenuItemInfo& info, Problems& problems )
{
    const auto own = info.item->shortcuts();
    const auto category = own.empty() ? ShortcutManager::Category::Objects : own.front().category;
    std::vector<ToolShortcut> out;
    const auto read = [&]( const Json::Value& text )
    {
        if ( const auto key = text.isString() ? ShortcutManager::parseKey( text.asString() ) : std::nullopt )
            out.push_back( { *key, category, !out.empty() } );
        else
            problems.push_back( fmt::format(
                "\"Shortcut\" of the tool \"{}\" is not a key such as \"Ctrl+Shift+Z\"", info.item->name() ) );
    };
    if ( !value.isArray() )
        read( value );
    else
        for ( const auto& text : value )
            read( text );
    return out;
}

void readItem( const Json::Value& value, Problems& problems )
{
    if ( !value.isObject() || !value["Name"].isString() )
    {
        problems.push_back( "The schema's \"Items\" hold something without a name" );
        return;
    }
    const auto name = value["Name"].asString();
    const auto it = holder().schema.items.find( name );
    if ( it == holder().schema.items.end() )
    {
        problems.push_back( fmt::format( "The schema names the tool \"{}\", which does not exist", name ) );
        return;
    }
    auto& info = it->second;
    for ( const auto& [member, text] : { std::pair{ "Caption", &info.caption }, std::pair{ "Tooltip", &info.tooltip },
              std::pair{ "Icon", &info.icon } } )
        if ( value[member].isString() )
            *text = value[member].asString();
        else if ( !value[member].isNull() )
            problems.push_back( fmt::format( "\"{}\" of the tool \"{}\" is not a text", member, name ) );
    if ( value.isMember( "DropList" ) )
        info.dropList = readNames( value["DropList"], fmt::format( "The list of the tool \"{}\"", name ), problems );
    if ( value.isMember( "Shortcut" ) )
        info.shortcuts = readShortcuts( value["Shortcut"], info, problems );
}

/// Whether a tool can be reached from its own drop-down list.
bool reaches( const std::string& from, const std::string& wanted, std::set<std::string>& visited )
{
    if ( !visited.insert( from ).second )
        return false;
    const auto it = holder().schema.items.find( from );
    if ( it == holder().schema.items.end() )
        return false;
    return std::any_of( it->second.dropList.begin(), it->second.dropList.end(),
        [&]( const std::string& name ) { return name == wanted || reaches( name, wanted, visited ); } );
}

void cutCycles( Problems& problems )
{
    for ( auto& [name, info] : holder().schema.items )
    {
        std::set<std::string> visited;
        if ( !reaches( name, name, visited ) )
            continue;
        problems.push_back( fmt::format( "The list of the tool \"{}\" leads back to it and is left out", name ) );
        info.dropList.clear();
    }
}

RibbonTab readTab( const Json::Value& value, Problems& problems )
{
    RibbonTab tab{ textMember( value, "Name" ), {} };
    for ( const auto& group : value["Groups"] )
    {
        if ( !group.isObject() || !group["Name"].isString() )
        {
            problems.push_back( fmt::format( "The tab \"{}\" holds a group without a name", tab.name ) );
            continue;
        }
        RibbonGroup out{ textMember( group, "Name" ), textMember( group, "Icon" ), {} };
        const auto same = [&]( const RibbonGroup& other ) { return other.name == out.name; };
        if ( std::any_of( tab.groups.begin(), tab.groups.end(), same ) )
        {
            problems.push_back( fmt::format( "The tab \"{}\" has the group \"{}\" twice", tab.name, out.name ) );
            continue;
        }
        out.items = readNames( group["List"], fmt::format( "The group \"{}\"", out.name ), problems );
        if ( !out.items.empty() )
            tab.groups.push_back( std::move( out ) );
    }
    return tab;
}

std::vector<RibbonTab> readTabs( const Json::Value& tabs, Problems& problems )
{
    std::vector<RibbonTab> out;
    for ( const auto& value : tabs )
    {
        if ( !value.isObject() || !value["Name"].isString() || !value["Groups"].isArray() )
        {
            problems.push_back( "The structure holds a tab without a name or groups" );
            continue;
        }
        auto tab = readTab( value, problems );
        const auto same = [&]( const RibbonTab& other ) { return other.name == tab.name; };
        if ( std::any_of( out.begin(), out.end(), same ) )
            problems.push_back( fmt::format( "The structure has the tab \"{}\" twice", tab.name ) );
        else if ( tab.groups.empty() )
            problems.push_back( fmt::format( "The tab \"{}\" has no tools and is left out", tab.name ) );
        else
            out.push_back( std::move( tab ) );
    }
    return out;
}

/// How well a text fits what was typed: smaller is better, negative not at all.
int rank( const std::string& text, const std::string& typed )
{
    const auto at = text.find( typed );
    if ( at == 0 )
        return text.size() == typed.size() ? 0 : 1;
    if ( at != std::string::npos )
        return text[at - 1] == ' ' ? 2 : 3;
    // All letters in their order, as "mdst" for "measure distance".
    size_t next = 0;
    for ( const char c : text )
        if ( next < typed.size() && c == typed[next] )
            ++next;
    return next == typed.size() && typed.size() > 1 ? 5 : -1;
}

std::string tabOf( const std::string& name )
{
    const auto& schema = holder().schema;
    const auto holds = [&]( const std::string& other )
    {
        if ( other == name )
            return true;
        const auto it = schema.items.find( other );
        return it != schema.items.end() &&
               std::find( it->second.dropList.begin(), it->second.dropList.end(), name ) != it->second.dropList.end();
    };
    for ( const auto& tab : schema.tabs )
        for ( const auto& group : tab.groups )
            if ( std::any_of( group.items.begin(), group.items.end(), holds ) )
                return tab.name;
    return {};
}

} // namespace

const RibbonSchema& RibbonSchemaHolder::schema()
{
    return holder().schema;
}

bool RibbonSchemaHolder::addItem( std::shared_ptr<RibbonMenuItem> item )
{
    const auto name = item->name();
    auto shortcuts = item->shortcuts();
    ++holder().revision;
    return holder()
        .schema.items.try_emplace( name, MenuItemInfo{ std::move( item ), name, {}, {}, {}, std::move( shortcuts ) } )
        .second;
}

bool RibbonSchemaHolder::removeItem( const std::string& name )
{
    ++holder().revision;
    return holder().schema.items.erase( name ) > 0;
}

std::shared_ptr<RibbonMenuItem> RibbonSchemaHolder::findItem( const std::string& name )
{
    const auto it = holder().schema.items.find( name );
    return it == holder().schema.items.end() ? nullptr : it->second.item;
}

std::vector<RibbonSchemaHolder::SearchResult> RibbonSchemaHolder::search( const std::string& text )
{
    const auto typed = toLower( trimmed( text ) );
    if ( typed.empty() )
        return {};
    struct Found
    {
        int rank;
        std::string caption;
        SearchResult result;
    };
    std::vector<Found> found;
    for ( const auto& [name, info] : holder().schema.items )
    {
        int best = rank( toLower( info.caption ), typed );
        // Captions are short where the group says the rest: "Flat" in "Shading" is the tool "Flat shading".
        if ( const int byName = rank( toLower( name ), typed ); best < 0 || ( byName >= 0 && byName < best ) )
            best = byName;
        if ( best < 0 && toLower( info.tooltip ).find( typed ) != std::string::npos )
            best = 4;
        if ( best >= 0 )
            found.push_back( { best, info.caption, { name, tabOf( name ) } } );
    }
    std::sort( found.begin(), found.end(), []( const Found& a, const Found& b )
        { return std::tie( a.rank, a.caption ) < std::tie( b.rank, b.caption ); } );
    std::vector<SearchResult> out;
    out.reserve( found.size() );
    for ( auto& entry : found )
        out.push_back( std::move( entry.result ) );
    return out;
}

std::vector<std::string> RibbonSchemaHolder::loadSchema( const Json::Value& schema )
{
    Problems problems;
    if ( !schema.isObject() || !schema["Items"].isArray() )
        return { "The schema has no list \"Items\"" };
    std::set<std::string> seen;
    for ( const auto& value : schema["Items"] )
    {
        if ( value.isObject() && value["Name"].isString() && !seen.insert( value["Name"].asString() ).second )
            problems.push_back( fmt::format( "The schema has the tool \"{}\" twice", value["Name"].asString() ) );
        else
            readItem( value, problems );
    }
    cutCycles( problems );
    ++holder().revision;
    return problems;
}

std::vector<std::string> RibbonSchemaHolder::loadStructure( const Json::Value& structure )
{
    Problems problems;
    if ( !structure.isObject() )
        return { "The structure is not an object" };
    auto& schema = holder().schema;
    if ( structure.isMember( "Tabs" ) )
    {
        auto tabs = structure["Tabs"].isArray() ? readTabs( structure["Tabs"], problems ) : std::vector<RibbonTab>{};
        if ( tabs.empty() )
            problems.push_back( "The structure has no tab with tools, so the tabs stay as they were" );
        else
            schema.tabs = std::move( tabs );
    }
    if ( const auto& quick = structure["QuickAccess"]; quick.isObject() )
    {
        schema.quickAccess = readNames( quick["List"], "The quick access list", problems );
        if ( quick["Version"].isInt() )
            schema.quickAccessVersion = quick["Version"].asInt();
    }
    else if ( !quick.isNull() )
        problems.push_back( "The structure's \"QuickAccess\" is not an object" );
    if ( structure.isMember( "SceneButtons" ) )
        schema.sceneButtons = readNames( structure["SceneButtons"], "The list of scene buttons", problems );
    ++holder().revision;
    return problems;
}

uint64_t RibbonSchemaHolder::revision()
{
    return holder().revision;
}

} // namespace VX
