#pragma once

#include "support/TestMeshes.h"

#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneDocument.h>

namespace VX::Testing
{

/// The scene of this process's viewer, which is not started: empty at first, and emptied at the end.
class OwnScene
{
public:
    OwnScene() { clear(); }
    ~OwnScene() { clear(); }
    OwnScene( const OwnScene& ) = delete;
    OwnScene& operator=( const OwnScene& ) = delete;

    [[nodiscard]] Object& root() const { return getViewerInstance().sceneRoot(); }
    [[nodiscard]] HistoryStore& history() const { return *getViewerInstance().getHistoryStore(); }
    std::shared_ptr<ObjectMesh> addCube( const std::string& name, Object* parent = nullptr ) const
    {
        auto out = meshObject( name, cube() );
        ( parent ? *parent : root() ).addChild( out );
        return out;
    }
    std::shared_ptr<Object> addGroup( const std::string& name, Object* parent = nullptr ) const
    {
        auto out = std::make_shared<Object>();
        out->setName( name );
        ( parent ? *parent : root() ).addChild( out );
        return out;
    }
    /// What is below the root, groups with their children in brackets: "a group[b c]".
    [[nodiscard]] std::string tree() const { return treeOf( root() ); }

private:
    static std::string treeOf( const Object& object )
    {
        std::string out;
        for ( const auto& child : object.children() )
        {
            out += ( out.empty() ? "" : " " ) + child->name();
            if ( !child->children().empty() )
                out += "[" + treeOf( *child ) + "]";
        }
        return out;
    }
    static void clear()
    {
        if ( !getViewerInstance().getHistoryStore() )
            getViewerInstance().setHistoryStore( std::make_shared<HistoryStore>() );
        sceneDocument().clear();
        SceneCache::invalidateAll();
    }
};

} // namespace VX::Testing
