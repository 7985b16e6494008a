#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/Export.h>

#include <memory>
#include <typeindex>
#include <vector>

namespace VX
{

enum class ObjectSelectivityType
{
    Selectable, ///< every object below the scene's root
    Selected,
    Any ///< the root, too
};

/// Lists of the scene's objects by type, made anew only when the scene has changed. UI thread.
class VXVIEWER_API SceneCache
{
public:
    /// Objects of a type, parents before their children. The list holds until the scene changes.
    template <typename ObjectT, ObjectSelectivityType Selectivity>
    [[nodiscard]] static const std::vector<std::shared_ptr<ObjectT>>& getAllObjects()
    {
        using List = std::vector<std::shared_ptr<ObjectT>>;
        auto& list = list_( typeid( List ), Selectivity,
            []( const std::vector<std::shared_ptr<Object>>& all ) -> std::shared_ptr<void>
            {
                auto out = std::make_shared<List>();
                for ( const auto& object : all )
                    if ( auto fitting = std::dynamic_pointer_cast<ObjectT>( object ) )
                        out->push_back( std::move( fitting ) );
                return out;
            } );
        return *static_cast<const List*>( list.get() );
    }

    /// The same with the selectivity as its number: 0 selectable, 1 selected, 2 any.
    template <typename ObjectT, int Selectivity>
    [[nodiscard]] static const std::vector<std::shared_ptr<ObjectT>>& getAllObjects()
    {
        return getAllObjects<ObjectT, ObjectSelectivityType( Selectivity )>();
    }

    /// Lets go of all objects.
    static void invalidateAll();

private:
    using Filter = std::shared_ptr<void> ( * )( const std::vector<std::shared_ptr<Object>>& );
    static const std::shared_ptr<void>& list_( std::type_index key, ObjectSelectivityType selectivity, Filter filter );
};

} // namespace VX
