#include <VXViewer/scene/SceneCache.h>

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>

#include <map>

namespace VX
{
namespace
{

struct Cache
{
    const Object* root = nullptr;
    uint64_t revision = 0;
    std::map<std::pair<std::type_index, ObjectSelectivityType>, std::shared_ptr<void>> lists;
};

/// Empty again when the scene is closed.
Cache& cache()
{
    static Cache sCache;
    static const auto sClosed = getViewerInstance().sceneClosedSignal.connect( [] { SceneCache::invalidateAll(); } );
    return sCache;
}

bool fits( const Object& object, const Object& root, ObjectSelectivityType selectivity )
{
    if ( selectivity == ObjectSelectivityType::Selected )
        return &object != &root && object.isSelected();
    return selectivity == ObjectSelectivityType::Any || &object != &root;
}

} // namespace

const std::shared_ptr<void>& SceneCache::list_( std::type_index key, ObjectSelectivityType selectivity, Filter filter )
{
    Object& root = getViewerInstance().sceneRoot();
    auto& all = cache();
    if ( all.root != &root || all.revision != root.revision() )
        all = { &root, root.revision(), {} };
    auto& list = all.lists[{ key, selectivity }];
    if ( !list )
    {
        std::vector<std::shared_ptr<Object>> objects;
        forEachObject( root,
            [&]( Object& object )
            {
                if ( fits( object, root, selectivity ) )
                    objects.push_back( object.shared_from_this() );
            } );
        list = filter( objects );
    }
    return list;
}

void SceneCache::invalidateAll()
{
    cache() = {};
}

} // namespace VX
