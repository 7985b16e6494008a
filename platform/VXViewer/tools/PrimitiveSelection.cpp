#include <VXViewer/tools/PrimitiveSelection.h>

#include <VXMesh/scene/FeatureEdges.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/ui/ColorTheme.h>

#include <algorithm>
#include <iterator>

namespace VX
{
namespace
{

/// The triangles of a mesh with the listed numbers (sorted) or, with `keep` false, all others.
Mesh extract( const Mesh& mesh, const std::vector<size_t>& triangles, bool keep )
{
    Mesh out;
    std::vector<uint32_t> numbers( mesh.points.size(), UINT32_MAX );
    for ( size_t i = 0; i < mesh.triangles.size(); ++i )
    {
        if ( std::binary_search( triangles.begin(), triangles.end(), i ) != keep )
            continue;
        Triangle t{};
        for ( size_t k = 0; k < 3; ++k )
        {
            const auto v = mesh.triangles[i][k];
            if ( numbers[v] == UINT32_MAX )
            {
                numbers[v] = uint32_t( out.points.size() );
                out.points.push_back( mesh.points[v] );
                if ( !mesh.normals.empty() )
                    out.normals.push_back( mesh.normals[v] );
                if ( !mesh.vertexColors.empty() )
                    out.vertexColors.push_back( mesh.vertexColors[v] );
            }
            t[k] = numbers[v];
        }
        out.triangles.push_back( t );
        if ( !mesh.faceColors.empty() )
            out.faceColors.push_back( mesh.faceColors[i] );
    }
    return out;
}

class MeshesAction final : public HistoryAction
{
public:
    struct Change
    {
        std::shared_ptr<ObjectMesh> object;
        std::shared_ptr<const Mesh> other;
    };
    explicit MeshesAction( std::vector<Change> changes )
        : changes_( std::move( changes ) )
    {
    }
    [[nodiscard]] std::string name() const override { return "Delete faces"; }
    void action( Type ) override
    {
        for ( auto& [object, other] : changes_ )
        {
            auto current = object->mesh();
            object->setMesh( std::exchange( other, std::move( current ) ) );
        }
    }

private:
    std::vector<Change> changes_;
};

} // namespace

PrimitiveSelection& PrimitiveSelection::instance()
{
    static PrimitiveSelection sSelection;
    return sSelection;
}

void PrimitiveSelection::prune_()
{
    std::erase_if( entries_, []( const Entry& entry )
        { return entry.object->mesh() != entry.mesh || !entry.object->parent() || entry.triangles.empty(); } );
}

void PrimitiveSelection::update_( Entry& entry )
{
    const auto xf = entry.object->worldXf();
    if ( entry.shown && entry.xf == xf )
        return;
    if ( !entry.shown )
        entry.shown = std::make_shared<Mesh>( extract( *entry.mesh, entry.triangles, true ) );
    entry.xf = xf;
    Mesh placed;
    placed.triangles = entry.shown->triangles;
    // Where the object stands does not change the area, but would cost digits.
    for ( const auto& point : entry.shown->points )
        placed.points.push_back( Vector3f( xf.A * point ) );
    entry.area = computeArea( placed );
}

void PrimitiveSelection::show_()
{
    auto& viewer = getViewerInstance();
    std::vector<Overlay> overlays;
    area_ = 0;
    for ( auto& entry : entries_ )
    {
        update_( entry );
        area_ += entry.area;
        if ( entry.object->isGloballyVisible() )
            overlays.push_back(
                { entry.shown, entry.xf, ColorTheme::getViewportColor( ColorTheme::Highlight ), true } );
    }
    viewer.setOverlays( "primitives", std::move( overlays ) );
    sceneRevision_ = viewer.sceneRoot().revision();
    if ( entries_.empty() )
        frames_.disconnect();
    else if ( !frames_.connected() )
        frames_ = viewer.perFrameSignal.connect( [this] { followScene_(); } );
}

void PrimitiveSelection::followScene_()
{
    if ( sceneRevision_ == getViewerInstance().sceneRoot().revision() )
        return;
    prune_();
    show_();
}

void PrimitiveSelection::select(
    const std::shared_ptr<ObjectMesh>& object, const std::vector<size_t>& triangles, bool add )
{
    if ( !add )
        entries_.clear();
    prune_();
    auto it =
        std::find_if( entries_.begin(), entries_.end(), [&]( const Entry& entry ) { return entry.object == object; } );
    if ( it == entries_.end() )
        it = entries_.insert( entries_.end(), { .object = object, .mesh = object->mesh() } );
    auto& marked = it->triangles;
    std::vector<size_t> out;
    if ( std::includes( marked.begin(), marked.end(), triangles.begin(), triangles.end() ) )
        std::set_difference(
            marked.begin(), marked.end(), triangles.begin(), triangles.end(), std::back_inserter( out ) );
    else
        std::set_union( marked.begin(), marked.end(), triangles.begin(), triangles.end(), std::back_inserter( out ) );
    marked = std::move( out );
    it->shown = nullptr;
    prune_();
    show_();
}

void PrimitiveSelection::clear()
{
    if ( entries_.empty() )
        return;
    entries_.clear();
    show_();
}

size_t PrimitiveSelection::triangleCount() const
{
    size_t out = 0;
    for ( const auto& entry : entries_ )
        out += entry.triangles.size();
    return out;
}

void PrimitiveSelection::deleteMarked()
{
    prune_();
    std::vector<MeshesAction::Change> changes;
    for ( const auto& entry : entries_ )
    {
        auto rest = std::make_shared<Mesh>( extract( *entry.mesh, entry.triangles, false ) );
        if ( !entry.mesh->edges.empty() )
            rest->edges = findFeatureEdges( *rest );
        changes.push_back( { entry.object, std::move( rest ) } );
    }
    entries_.clear();
    show_();
    if ( changes.empty() )
        return;
    auto action = std::make_shared<MeshesAction>( std::move( changes ) );
    action->action( HistoryAction::Type::Redo );
    if ( const auto& history = getViewerInstance().getHistoryStore() )
        history->appendAction( std::move( action ) );
}

} // namespace VX
