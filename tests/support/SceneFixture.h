#pragma once

#include "support/OwnScene.h"

#include <VXViewer/scene/SceneEdits.h>

#include <gtest/gtest.h>

namespace VX::Testing
{

/// A scene that is empty and saved before and after each test.
class SceneFixture : public testing::Test
{
protected:
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

    OwnScene scene_;
};

} // namespace VX::Testing
