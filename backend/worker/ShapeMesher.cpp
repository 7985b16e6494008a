#include "worker/ShapeMesher.h"

#include <BRep_Tool.hxx>
#include <GeomLib.hxx>
#include <Geom_Surface.hxx>
#include <Poly_PolygonOnTriangulation.hxx>
#include <Poly_Triangulation.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_MapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Edge.hxx>

#include <algorithm>
#include <cmath>

namespace VX::Backend
{
namespace
{

uint8_t toByte( double v )
{
    return uint8_t( std::lround( std::clamp( v, 0., 1. ) * 255 ) );
}

Vector3f toVector( const gp_XYZ& v )
{
    return { float( v.X() ), float( v.Y() ), float( v.Z() ) };
}

class ShapeMesher
{
public:
    ShapeMesher( const FaceColors& colors, Color fallback )
        : colors_( colors )
        , fallback_( fallback )
    {
    }

    void add( const TopoDS_Face& face )
    {
        TopLoc_Location location;
        const Handle( Poly_Triangulation ) triangulation = BRep_Tool::Triangulation( face, location );
        if ( triangulation.IsNull() || triangulation->NbTriangles() == 0 )
            return;
        const uint32_t first = uint32_t( mesh_->points.size() );
        addPoints_( face, triangulation, location.Transformation() );
        addTriangles_( face, *triangulation, first );
        addEdges_( face, triangulation, location, first );
        if ( !colors_.empty() )
            mesh_->vertexColors.resize( mesh_->points.size(), colors_.of( face, fallback_ ) );
    }

    std::shared_ptr<const Mesh> take()
    {
        if ( mesh_->triangles.empty() )
            return nullptr;
        return std::move( mesh_ );
    }

private:
    void addPoints_(
        const TopoDS_Face& face, const Handle( Poly_Triangulation ) & triangulation, const gp_Trsf& placement )
    {
        const float side = face.Orientation() == TopAbs_REVERSED ? -1.f : 1.f;
        const Handle( Geom_Surface ) surface =
            triangulation->HasUVNodes() ? BRep_Tool::Surface( face ) : Handle( Geom_Surface )();
        for ( int i = 1; i <= triangulation->NbNodes(); ++i )
        {
            mesh_->points.push_back( toVector( triangulation->Node( i ).Transformed( placement ).XYZ() ) );
            // The surface's normal includes its placement. Where it has none, as at the tip of a cone, a zero vector
            // lets the viewer use the triangle's.
            gp_Dir normal;
            const bool known =
                !surface.IsNull() && GeomLib::NormEstim( surface, triangulation->UVNode( i ), 1e-9, normal ) <= 1;
            mesh_->normals.push_back( known ? toVector( normal.XYZ() ) * side : Vector3f{} );
        }
    }

    void addTriangles_( const TopoDS_Face& face, const Poly_Triangulation& triangulation, uint32_t first )
    {
        const bool reversed = face.Orientation() == TopAbs_REVERSED;
        for ( int i = 1; i <= triangulation.NbTriangles(); ++i )
        {
            int a = 0, b = 0, c = 0;
            triangulation.Triangle( i ).Get( a, b, c );
            if ( reversed )
                std::swap( b, c );
            mesh_->triangles.push_back(
                { first + uint32_t( a ) - 1, first + uint32_t( b ) - 1, first + uint32_t( c ) - 1 } );
        }
    }

    void addEdges_( const TopoDS_Face& face, const Handle( Poly_Triangulation ) & triangulation,
        const TopLoc_Location& location, uint32_t first )
    {
        for ( TopExp_Explorer explorer( face, TopAbs_EDGE ); explorer.More(); explorer.Next() )
        {
            const TopoDS_Edge& edge = TopoDS::Edge( explorer.Current() );
            // An edge is drawn with the first of its faces.
            if ( BRep_Tool::Degenerated( edge ) || BRep_Tool::IsClosed( edge, face ) || !edges_.Add( edge ) )
                continue;
            const Handle( Poly_PolygonOnTriangulation ) polygon =
                BRep_Tool::PolygonOnTriangulation( edge, triangulation, location );
            if ( polygon.IsNull() )
                continue;
            for ( int i = 1; i < polygon->NbNodes(); ++i )
                mesh_->edges.push_back(
                    { first + uint32_t( polygon->Node( i ) ) - 1, first + uint32_t( polygon->Node( i + 1 ) ) - 1 } );
        }
    }

    const FaceColors& colors_;
    Color fallback_;
    std::shared_ptr<Mesh> mesh_ = std::make_shared<Mesh>();
    TopTools_MapOfShape edges_;
};

} // namespace

Color toColor( const Quantity_Color& color )
{
    double r = 0, g = 0, b = 0;
    color.Values( r, g, b, Quantity_TOC_sRGB );
    return { toByte( r ), toByte( g ), toByte( b ), 255 };
}

void FaceColors::add( const TopoDS_Shape& shape, Color color )
{
    const bool own = shape.ShapeType() == TopAbs_FACE;
    for ( TopExp_Explorer explorer( shape, TopAbs_FACE ); explorer.More(); explorer.Next() )
    {
        const Entry* known = colors_.Seek( explorer.Current() );
        if ( !known || own || !known->own )
            colors_.Bind( explorer.Current(), { color, own } );
    }
}

Color FaceColors::of( const TopoDS_Face& face, Color fallback ) const
{
    const Entry* entry = colors_.Seek( face );
    return entry ? entry->color : fallback;
}

std::shared_ptr<const Mesh> meshFromShape( const TopoDS_Shape& shape, const FaceColors& colors, Color fallback )
{
    ShapeMesher mesher( colors, fallback );
    for ( TopExp_Explorer explorer( shape, TopAbs_FACE ); explorer.More(); explorer.Next() )
        mesher.add( TopoDS::Face( explorer.Current() ) );
    return mesher.take();
}

} // namespace VX::Backend
