#include "worker/FaceShares.h"

#include <Interface_InterfaceModel.hxx>
#include <NCollection_Map.hxx>
#include <STEPConstruct.hxx>
#include <StepGeom_BSplineCurve.hxx>
#include <StepGeom_BSplineSurface.hxx>
#include <StepShape_Edge.hxx>
#include <StepShape_EdgeCurve.hxx>
#include <StepShape_EdgeLoop.hxx>
#include <StepShape_FaceBound.hxx>
#include <StepShape_FaceSurface.hxx>
#include <StepShape_GeometricCurveSet.hxx>
#include <StepShape_GeometricSet.hxx>
#include <StepShape_HArray1OfOrientedEdge.hxx>
#include <StepShape_OrientedClosedShell.hxx>
#include <StepShape_OrientedEdge.hxx>
#include <StepShape_OrientedFace.hxx>
#include <StepShape_OrientedOpenShell.hxx>
#include <StepShape_Subface.hxx>
#include <StepShape_VertexLoop.hxx>
#include <TopExp_Explorer.hxx>
#include <Transfer_TransientProcess.hxx>
#include <XSControl_TransferReader.hxx>

#include <algorithm>
#include <array>
#include <utility>

namespace VX::Backend
{
namespace
{

// A shell lighter than this part of the whole goes to one share.
constexpr double cUncut = 0.15;
// A cut shell is dealt in this many pieces a share: long enough that few edges lie on a cut, short enough that faces
// that are heavier than they look are spread.
constexpr int cPieces = 8;

template <typename T>
[[nodiscard]] bool is( const Handle( Standard_Transient ) & entity )
{
    return entity->IsKind( STANDARD_TYPE( T ) );
}

/// Calls for every use of an edge by a face, with whether it is along the edge. False when the face is incomplete, or
/// bounded by something else than edges. Files can leave out anything.
template <typename Use>
[[nodiscard]] bool eachEdge( const StepShape_Face& face, Use&& use )
{
    if ( face.Bounds().IsNull() )
        return false;
    for ( const auto& bound : face.Bounds()->Array1() )
    {
        if ( bound.IsNull() || bound->Bound().IsNull() )
            return false;
        if ( is<StepShape_VertexLoop>( bound->Bound() ) )
            continue;
        const auto loop = Handle( StepShape_EdgeLoop )::DownCast( bound->Bound() );
        if ( loop.IsNull() || loop->EdgeList().IsNull() )
            return false;
        for ( const auto& edge : loop->EdgeList()->Array1() )
        {
            if ( edge.IsNull() || edge->EdgeElement().IsNull() )
                return false;
            use( edge->EdgeElement(), edge->Orientation() == bound->Orientation() );
        }
    }
    return true;
}

[[nodiscard]] double weightOf( const Handle( StepShape_Edge ) & edge )
{
    const auto curve = Handle( StepShape_EdgeCurve )::DownCast( edge );
    const auto spline = curve.IsNull() ? nullptr : Handle( StepGeom_BSplineCurve )::DownCast( curve->EdgeGeometry() );
    return spline.IsNull() || spline->ControlPointsList().IsNull() ? 1
                                                                   : 1 + 0.1 * spline->ControlPointsList()->Length();
}

/// About how long a face takes, from the number of its edges and control points; nothing when it is incomplete.
[[nodiscard]] std::optional<double> weightOf( const Handle( StepShape_Face ) & face )
{
    double sum = 1;
    if ( !eachEdge( *face, [&]( const auto& edge, bool ) { sum += weightOf( edge ); } ) )
        return {};
    const auto surface = Handle( StepShape_FaceSurface )::DownCast( face );
    const auto spline =
        surface.IsNull() ? nullptr : Handle( StepGeom_BSplineSurface )::DownCast( surface->FaceGeometry() );
    if ( !spline.IsNull() && !spline->ControlPointsList().IsNull() )
        sum += 0.1 * spline->ControlPointsList()->Size();
    return sum;
}

} // namespace

FaceShares::FaceShares( const Handle( XSControl_WorkSession ) & session, int most, double least )
    : session_( session )
{
    if ( most > 1 && collectShells_() && std::all_of( shells_.begin(), shells_.end(), isConsistent_ ) )
        deal_( most, least );
}

bool FaceShares::collectShells_()
{
    const auto model = session_->Model();
    NCollection_Map<Handle( Standard_Transient )> seen;
    int faces = 0;
    for ( int i = 1; i <= model->NbEntities(); ++i )
    {
        const auto entity = model->Value( i );
        if ( is<StepShape_OrientedFace>( entity ) || is<StepShape_Subface>( entity ) )
            return false;
        if ( is<StepShape_GeometricSet>( entity ) && !is<StepShape_GeometricCurveSet>( entity ) )
            return false;
        faces += is<StepShape_Face>( entity ) ? 1 : 0;
        const auto set = Handle( StepShape_ConnectedFaceSet )::DownCast( entity );
        if ( set.IsNull() || is<StepShape_OrientedClosedShell>( set ) || is<StepShape_OrientedOpenShell>( set ) )
            continue;
        if ( set->CfsFaces().IsNull() || set->NbCfsFaces() == 0 )
            return false;
        Shell shell;
        shell.set = set;
        for ( const auto& face : set->CfsFaces()->Array1() )
        {
            if ( face.IsNull() || !seen.Add( face ) )
                return false;
            const auto weight = weightOf( face );
            if ( !weight )
                return false;
            shell.faces.push_back( { face, *weight, 0 } );
            shell.weight += shell.faces.back().weight;
        }
        shells_.push_back( std::move( shell ) );
    }
    return faces == seen.Extent();
}

bool FaceShares::isConsistent_( const Shell& shell )
{
    // For each edge: whether it was met along it, and against it.
    NCollection_DataMap<Handle( Standard_Transient ), std::array<bool, 2>> met;
    bool consistent = true;
    const auto meet = [&]( const Handle( StepShape_Edge ) & edge, bool along )
    {
        auto* seen = met.ChangeSeek( edge );
        if ( !seen )
            seen = met.Bound( edge, {} );
        consistent &= !std::exchange( ( *seen )[along ? 0 : 1], true );
    };
    for ( const auto& face : shell.faces )
        consistent &= eachEdge( *face.entity, meet );
    return consistent;
}

void FaceShares::deal_( int most, double least )
{
    double whole = 0;
    for ( const auto& shell : shells_ )
        whole += shell.weight;
    count_ = std::max( std::min( most, int( whole / least ) ), 1 );
    if ( count_ == 1 )
        return;
    std::vector<double> loads( size_t( count_ ), 0. );
    const auto lightest = [&] { return size_t( std::min_element( loads.begin(), loads.end() ) - loads.begin() ); };
    std::vector<Shell*> heaviestFirst;
    heaviestFirst.reserve( shells_.size() );
    for ( auto& shell : shells_ )
        heaviestFirst.push_back( &shell );
    std::stable_sort( heaviestFirst.begin(), heaviestFirst.end(),
        []( const Shell* a, const Shell* b ) { return a->weight > b->weight; } );
    for ( Shell* shell : heaviestFirst )
    {
        const bool cut = shell->weight > whole * cUncut;
        const double piece = cut ? whole / ( count_ * cPieces ) : whole;
        size_t share = lightest();
        double dealt = 0;
        for ( auto& face : shell->faces )
        {
            if ( dealt > piece )
            {
                share = lightest();
                dealt = 0;
            }
            face.share = int( share );
            dealt += face.weight;
            loads[share] += face.weight;
        }
    }
}

void FaceShares::keepOnly( int share )
{
    for ( const auto& shell : shells_ )
    {
        const auto own =
            std::count_if( shell.faces.begin(), shell.faces.end(), [&]( const Face& f ) { return f.share == share; } );
        if ( own == 0 )
            keepPlaceholder_( shell );
        else if ( size_t( own ) < shell.faces.size() )
            keepFaces_( shell, share, int( own ) );
    }
}

void FaceShares::keepFaces_( const Shell& shell, int share, int count )
{
    const auto kept = new StepShape_HArray1OfFace( 1, count );
    int i = 0;
    for ( const auto& face : shell.faces )
    {
        if ( face.share != share )
            continue;
        kept->SetValue( ++i, face.entity );
        roles_.push_back( { face.entity, FaceRole::OfCutShell } );
    }
    shell.set->SetCfsFaces( kept );
}

void FaceShares::keepPlaceholder_( const Shell& shell )
{
    const auto lightest = std::min_element(
        shell.faces.begin(), shell.faces.end(), []( const Face& a, const Face& b ) { return a.weight < b.weight; } );
    const auto kept = new StepShape_HArray1OfFace( 1, 1 );
    kept->SetValue( 1, lightest->entity );
    roles_.push_back( { lightest->entity, FaceRole::Placeholder } );
    shell.set->SetCfsFaces( kept );
}

std::optional<FaceRoles> FaceShares::roles() const
{
    FaceRoles out;
    const auto process = session_->TransferReader()->TransientProcess();
    for ( const auto& [face, role] : roles_ )
    {
        TopExp_Explorer found( STEPConstruct::FindShape( process, face ), TopAbs_FACE );
        if ( !found.More() && role == FaceRole::Placeholder )
            return {};
        for ( ; found.More(); found.Next() )
            out.Bind( found.Current().Located( TopLoc_Location() ), role );
    }
    return out;
}

} // namespace VX::Backend
