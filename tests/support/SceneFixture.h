#pragma once

#include "support/TestMeshes.h"

#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/scene/SceneEdits.h>

#include <gtest/gtest.h>

namespace VX::Testing
{

/// The scene of this process's viewer, which is not started; empty and saved before and after each test.
class SceneFixture : public testing::Test
{
protected:
    SceneFixture() { reset(); }
    ~SceneFixture() override { reset(); }

    static void reset()
    {
        if ( !viewer().getHistoryStore() )
            viewer().setHistoryStore( std::make_shared<HistoryStore>() );
        sceneDocument().clear();
        SceneCache::invalidateAll();
    }
    static Viewer& viewer() { return getViewerInstance(); }
    static Object& root() { return viewer().sceneRoot(); }
    static HistoryStore& history() { return *viewer().getHistoryStore(); }
    static std::shared_ptr<Object> add( const std::string& name )
    {
        auto object = meshObject( name, cube() );
        SceneEdits::add( "Add", { object } );
        return object;
    }
    /// The names at the top level, each with a blank behind it.
    static std::string names()
    {
        std::string out;
        for ( const auto& child : root().children() )
            out += child->name() + " ";
        return out;
    }
};

} // namespace VX::Testing
