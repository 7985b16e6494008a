#include <VXViewer/scene/SceneEdits.h>

#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneRoot.h>

#include <algorithm>
#include <unordered_set>

namespace VX::SceneEdits
{
namespace
{

/// Where an object stands, so that it can be put back.
struct Place
{
    std::shared_ptr<Object> object;
    std::shared_ptr<Object> parent;
    size_t index = 0;
};

void putBack( const std::vector<Place>& places )
{
    for ( const auto& place : places )
        place.parent->insertChild( place.object, place.index );
}

void takeOut( const std::vector<Place>& places )
{
    // From the last to the first, so that each index holds again when they are put back.
    for ( auto it = places.rbegin(); it != places.rend(); ++it )
        it->object->detach();
}

class PresenceAction final : public HistoryAction
{
public:
    PresenceAction( std::string name, std::vector<Place> places, bool added )
        : name_( std::move( name ) )
        , places_( std::move( places ) )
        , added_( added )
    {
    }
    [[nodiscard]] std::string name() const override { return name_; }
    void action( Type type ) override
    {
        if ( ( type == Type::Redo ) == added_ )
            putBack( places_ );
        else
            takeOut( places_ );
    }

private:
    std::string name_;
    std::vector<Place> places_;
    bool added_;
};

class ReplaceAction final : public HistoryAction
{
public:
    ReplaceAction( std::string name, std::vector<Place> out, std::vector<Place> in )
        : name_( std::move( name ) )
        , out_( std::move( out ) )
        , in_( std::move( in ) )
    {
    }
    [[nodiscard]] std::string name() const override { return name_; }
    void action( Type type ) override
    {
        const bool redo = type == Type::Redo;
        takeOut( redo ? out_ : in_ );
        putBack( redo ? in_ : out_ );
    }

private:
    std::string name_;
    std::vector<Place> out_;
    std::vector<Place> in_;
};

class RenameAction final : public HistoryAction
{
public:
    RenameAction( std::shared_ptr<Object> object, std::string other )
        : object_( std::move( object ) )
        , other_( std::move( other ) )
    {
    }
    [[nodiscard]] std::string name() const override { return "Rename"; }
    void action( Type ) override
    {
        auto current = object_->name();
        object_->setName( std::exchange( other_, std::move( current ) ) );
    }

private:
    std::shared_ptr<Object> object_;
    std::string other_;
};

class VisibilityAction final : public HistoryAction
{
public:
    VisibilityAction( std::string name, Objects changed, bool visible )
        : name_( std::move( name ) )
        , changed_( std::move( changed ) )
        , visible_( visible )
    {
    }
    [[nodiscard]] std::string name() const override { return name_; }
    void action( Type type ) override
    {
        for ( const auto& object : changed_ )
            object->setVisible( ( type == Type::Redo ) == visible_ );
    }

private:
    std::string name_;
    Objects changed_;
    bool visible_;
};

void append( std::shared_ptr<HistoryAction> action )
{
    if ( const auto& history = sceneHistory() )
        history->appendAction( std::move( action ) );
}

bool hasAncestorIn( const Object& object, const std::unordered_set<const Object*>& objects )
{
    for ( const Object* parent = object.parent(); parent; parent = parent->parent() )
        if ( objects.contains( parent ) )
            return true;
    return false;
}

/// Places of the objects that go by themselves, in the order of the tree.
void collectPlaces( Object& parent, const std::unordered_set<const Object*>& going, std::vector<Place>& places )
{
    const auto& children = parent.children();
    for ( size_t i = 0; i < children.size(); ++i )
    {
        if ( going.contains( children[i].get() ) )
            places.push_back( { children[i], parent.shared_from_this(), i } );
        else
            collectPlaces( *children[i], going, places );
    }
}

/// Those of the scene, without those below another one of the list.
std::vector<Place> placesOf( const Objects& objects )
{
    std::unordered_set<const Object*> going;
    for ( const auto& object : objects )
        going.insert( object.get() );
    std::erase_if( going, [&]( const Object* object ) { return hasAncestorIn( *object, going ); } );
    std::vector<Place> places;
    collectPlaces( sceneRoot(), going, places );
    return places;
}

} // namespace

std::shared_ptr<HistoryAction> addStep( const std::string& actionName, const Objects& objects )
{
    auto root = sceneRoot().shared_from_this();
    std::vector<Place> places;
    for ( const auto& object : objects )
        places.push_back( { object, root, root->children().size() + places.size() } );
    putBack( places );
    return std::make_shared<PresenceAction>( actionName, std::move( places ), true );
}

void add( const std::string& actionName, const Objects& objects )
{
    append( addStep( actionName, objects ) );
}

void addOpened( const std::string& actionName, const Objects& objects )
{
    auto action = addStep( actionName, objects );
    if ( const auto& history = sceneHistory() )
        history->appendOpening( std::move( action ) );
}

void remove( const std::string& actionName, const Objects& objects )
{
    auto places = placesOf( objects );
    if ( places.empty() )
        return;
    takeOut( places );
    append( std::make_shared<PresenceAction>( actionName, std::move( places ), false ) );
}

void replace( const std::string& actionName, const Objects& others, const Objects& objects )
{
    auto root = sceneRoot().shared_from_this();
    auto out = placesOf( others );
    takeOut( out );
    auto index = root->children().size();
    if ( !out.empty() && out.front().parent == root )
        index = std::min( index, out.front().index );
    std::vector<Place> in;
    for ( const auto& object : objects )
        in.push_back( { object, root, index++ } );
    putBack( in );
    append( std::make_shared<ReplaceAction>( actionName, std::move( out ), std::move( in ) ) );
}

void rename( const std::shared_ptr<Object>& object, const std::string& name )
{
    if ( name.empty() || name == object->name() )
        return;
    auto former = object->name();
    object->setName( name );
    append( std::make_shared<RenameAction>( object, std::move( former ) ) );
}

void setVisible( const std::string& actionName, const Objects& objects, bool visible )
{
    Objects changed;
    for ( const auto& object : objects )
        if ( object->isVisible() != visible )
            changed.push_back( object );
    if ( changed.empty() )
        return;
    for ( const auto& object : changed )
        object->setVisible( visible );
    append( std::make_shared<VisibilityAction>( actionName, std::move( changed ), visible ) );
}

std::string nameFor( const std::string& verb, const Objects& objects )
{
    if ( objects.size() == 1 )
        return verb + " object";
    return verb + " " + std::to_string( objects.size() ) + " objects";
}

} // namespace VX::SceneEdits
