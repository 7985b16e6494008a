#include "worker/ShapeMesher.h"

#include <BRep_Tool.hxx>
#include <GeomLib.hxx>
#include <Geom_Surface.hxx>
#include <NCollection_IndexedDataMap.hxx>
#include <Poly_PolygonOnTriangulation.hxx>
#include <Poly_Triangulation.hxx>
#include <TopExp_Explorer.hxx>
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

struct Line
{
    Handle( Poly_PolygonOnTriangulation ) polygon;
    uint32_t first = 0;    ///< of its face's points
    bool reversed = false; ///< as seen from its first face, which lies to the left
    bool shared = false;   ///< by two faces
};

/// What the triangles from one on add to the volume of a closed mesh.
double volumeFrom( const Mesh& mesh, size_t first )
{
    double sum = 0;
    for ( size_t i = first; i < mesh.triangles.size(); ++i )
    {
        const auto& t = mesh.triangles[i];
        sum +=
            dot( Vector3d( mesh.points[t[0]] ), cross( Vector3d( mesh.points[t[1]] ), Vector3d( mesh.points[t[2]] ) ) );
    }
    return sum / 6;
}

class ShapeMesher
{
public:
    ShapeMesher( const FaceColors& colors, Color fallback, const FaceRoles& roles )
        : colors_( colors )
        , roles_( roles )
    {
        part_.color = fallback;
    }

    void add( const TopoDS_Face& face )
    {
        const FaceRole* role = roles_.IsEmpty() ? nullptr : roles_.Seek( face.Located( TopLoc_Location() ) );
        if ( role && *role == FaceRole::Placeholder )
            return;
        TopLoc_Location location;
        const Handle( Poly_Triangulation ) triangulation = BRep_Tool::Triangulation( face, location );
        if ( triangulation.IsNull() || triangulation->NbTriangles() == 0 )
            return;
        const uint32_t first = uint32_t( mesh_->points.size() );
        addPoints_( face, triangulation, location.Transformation() );
        const size_t firstTriangle = mesh_->triangles.size();
        addTriangles_( face, *triangulation, first );
        if ( role )
            part_.cutVolume += volumeFrom( *mesh_, firstTriangle );
        addEdges_( face, triangulation, location, first );
        if ( !colors_.empty() )
            mesh_->vertexColors.resize( mesh_->points.size(), colors_.of( face, part_.color ) );
    }

    PartMesh take()
    {
        addOutlines_();
        if ( !mesh_->triangles.empty() )
            part_.mesh = std::move( mesh_ );
        return std::move( part_ );
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
            if ( BRep_Tool::Degenerated( edge ) || BRep_Tool::IsClosed( edge, face ) )
                continue;
            // An edge is drawn with the first of its faces, at the end: only then it is known whether it has two.
            if ( Line* known = lines_.ChangeSeek( edge ) )
                known->shared = true;
            else if ( const Handle( Poly_PolygonOnTriangulation ) polygon =
                          BRep_Tool::PolygonOnTriangulation( edge, triangulation, location );
                !polygon.IsNull() )
                lines_.Add( edge, { polygon, first, edge.Orientation() == TopAbs_REVERSED, false } );
        }
    }

    void addOutlines_()
    {
        for ( const bool shared : { true, false } )
        {
            part_.firstOutline = mesh_->edges.size();
            for ( const auto& line : lines_ )
                if ( line.shared == shared )
                    addLine_( line );
        }
    }

    void addLine_( const Line& line )
    {
        for ( int i = 1; i < line.polygon->NbNodes(); ++i )
        {
            Segment segment{ line.first + uint32_t( line.polygon->Node( i ) ) - 1,
                line.first + uint32_t( line.polygon->Node( i + 1 ) ) - 1 };
            if ( line.reversed )
                std::swap( segment[0], segment[1] );
            mesh_->edges.push_back( segment );
        }
    }

    const FaceColors& colors_;
    const FaceRoles& roles_;
    PartMesh part_;
    std::shared_ptr<Mesh> mesh_ = std::make_shared<Mesh>();
    NCollection_IndexedDataMap<TopoDS_Shape, Line, TopTools_ShapeMapHasher> lines_;
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

PartMesh meshFromShape( const TopoDS_Shape& shape, const FaceColors& colors, Color fallback, const FaceRoles& roles )
{
    ShapeMesher mesher( colors, fallback, roles );
    for ( TopExp_Explorer explorer( shape, TopAbs_FACE ); explorer.More(); explorer.Next() )
        mesher.add( TopoDS::Face( explorer.Current() ) );
    return mesher.take();
}

} // namespace VX::Backend
