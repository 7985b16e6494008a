/// Makes the sample STEP files: `make_samples FOLDER` writes "bracket.step", a machined part, and "drive.step", a
/// coloured assembly with names and instances; `make_samples FOLDER --large` writes "panel.step", of a few megabytes.
#include <BRepAlgoAPI_Cut.hxx>
#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepBuilderAPI_Transform.hxx>
#include <BRepFilletAPI_MakeFillet.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <BRepPrimAPI_MakeTorus.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Quantity_Color.hxx>
#include <STEPCAFControl_Writer.hxx>
#include <ShapeUpgrade_UnifySameDomain.hxx>
#include <TDataStd_Name.hxx>
#include <TDocStd_Document.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <TopoDS_Edge.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

namespace
{

constexpr double cAxisHeight = 46;

TopoDS_Shape cylinder( gp_Pnt base, gp_Dir axis, double radius, double height )
{
    return BRepPrimAPI_MakeCylinder( gp_Ax2( base, axis ), radius, height ).Shape();
}

TopoDS_Shape box( gp_Pnt a, gp_Pnt b )
{
    return BRepPrimAPI_MakeBox( a, b ).Shape();
}

TopoDS_Shape cut( const TopoDS_Shape& from, const TopoDS_Shape& tool )
{
    return BRepAlgoAPI_Cut( from, tool ).Shape();
}

TopoDS_Shape fuse( const TopoDS_Shape& a, const TopoDS_Shape& b )
{
    return BRepAlgoAPI_Fuse( a, b ).Shape();
}

/// Without the lines that joining leaves in one and the same plane or cylinder.
TopoDS_Shape unified( const TopoDS_Shape& shape )
{
    ShapeUpgrade_UnifySameDomain unify( shape );
    unify.Build();
    return unify.Shape();
}

/// Rounds the straight edges between two points that `chosen` picks.
TopoDS_Shape rounded( const TopoDS_Shape& shape, double radius, const std::function<bool( gp_Pnt, gp_Pnt )>& chosen )
{
    BRepFilletAPI_MakeFillet fillet( shape );
    for ( TopExp_Explorer edges( shape, TopAbs_EDGE ); edges.More(); edges.Next() )
    {
        const TopoDS_Edge edge = TopoDS::Edge( edges.Current() );
        double first = 0, last = 0;
        const Handle( Geom_Curve ) curve = BRep_Tool::Curve( edge, first, last );
        if ( !curve.IsNull() && chosen( curve->Value( first ), curve->Value( last ) ) )
            fillet.Add( radius, edge );
    }
    return fillet.NbContours() > 0 ? fillet.Shape() : shape;
}

bool near( double a, double b )
{
    return std::abs( a - b ) < 1e-6;
}

TopoDS_Shape gusset( double x )
{
    BRepBuilderAPI_MakePolygon outline( gp_Pnt( x, 10, 10 ), gp_Pnt( x, 46, 10 ), gp_Pnt( x, 10, 50 ), true );
    return BRepPrimAPI_MakePrism( BRepBuilderAPI_MakeFace( outline.Wire() ).Face(), gp_Vec( 8, 0, 0 ) ).Shape();
}

TopoDS_Shape bracket()
{
    TopoDS_Shape part = fuse( box( { 0, 0, 0 }, { 100, 70, 10 } ), box( { 0, 0, 0 }, { 100, 10, 80 } ) );
    part = rounded( part, 12,
        []( gp_Pnt a, gp_Pnt b )
        {
            const bool basePlate = near( a.Y(), 70 ) && near( b.Y(), 70 ) && near( a.X(), b.X() );
            const bool upright = near( a.Z(), 80 ) && near( b.Z(), 80 ) && near( a.X(), b.X() );
            return basePlate || upright;
        } );
    part = rounded( part, 6, []( gp_Pnt a, gp_Pnt b )
        { return near( a.Y(), 10 ) && near( b.Y(), 10 ) && near( a.Z(), 10 ) && near( b.Z(), 10 ); } );
    part = fuse( fuse( part, gusset( 14 ) ), gusset( 78 ) );
    part = fuse( part, cylinder( { 50, 10, 50 }, { 0, 1, 0 }, 22, 8 ) );
    part = cut( part, cylinder( { 50, -1, 50 }, { 0, 1, 0 }, 14, 40 ) );
    for ( const double angle : { 45., 135., 225., 315. } )
    {
        const double a = angle * M_PI / 180;
        part = cut( part, cylinder( { 50 + 18 * std::cos( a ), -1, 50 + 18 * std::sin( a ) }, { 0, 1, 0 }, 1.8, 40 ) );
    }
    for ( const double x : { 36., 64. } )
    {
        part = cut( part, cylinder( { x, 52, -1 }, { 0, 0, 1 }, 4.5, 20 ) );
        part = cut( part, cylinder( { x, 52, 6 }, { 0, 0, 1 }, 8, 10 ) );
    }
    gp_Trsf turn;
    turn.SetRotation( gp_Ax1( gp_Pnt( 50, 35, 0 ), gp_Dir( 0, 0, 1 ) ), M_PI );
    return BRepBuilderAPI_Transform( unified( part ), turn, true ).Shape();
}

TopoDS_Shape bolt()
{
    BRepBuilderAPI_MakePolygon outline;
    for ( int i = 0; i < 6; ++i )
        outline.Add( gp_Pnt( 6.5 * std::cos( i * M_PI / 3 ), 6.5 * std::sin( i * M_PI / 3 ), 0 ) );
    outline.Close();
    const TopoDS_Shape head =
        BRepPrimAPI_MakePrism( BRepBuilderAPI_MakeFace( outline.Wire() ).Face(), gp_Vec( 0, 0, 5 ) ).Shape();
    return fuse( head, cylinder( { 0, 0, -16 }, { 0, 0, 1 }, 3.5, 16 ) );
}

TopoDS_Shape bearing()
{
    TopoDS_Shape part = fuse( box( { -30, -10, 0 }, { 30, 10, 10 } ), box( { -17, -10, 0 }, { 17, 10, cAxisHeight } ) );
    part = fuse( part, cylinder( { 0, -10, cAxisHeight }, { 0, 1, 0 }, 17, 20 ) );
    part = cut( part, cylinder( { 0, -20, cAxisHeight }, { 0, 1, 0 }, 9, 40 ) );
    for ( const double x : { -23.5, 23.5 } )
        part = cut( part, cylinder( { x, 0, -1 }, { 0, 0, 1 }, 3.6, 20 ) );
    return unified( part );
}

TopoDS_Shape wheel()
{
    TopoDS_Shape part =
        cut( cylinder( { 0, -7, 0 }, { 0, 1, 0 }, 38, 14 ), cylinder( { 0, -8, 0 }, { 0, 1, 0 }, 9, 16 ) );
    part = cut( part, BRepPrimAPI_MakeTorus( gp_Ax2( gp_Pnt( 0, 0, 0 ), gp_Dir( 0, 1, 0 ) ), 39, 4 ).Shape() );
    for ( int i = 0; i < 5; ++i )
    {
        const double a = i * 2 * M_PI / 5 + M_PI / 2;
        part = cut( part, cylinder( { 22 * std::cos( a ), -8, 22 * std::sin( a ) }, { 0, 1, 0 }, 7, 16 ) );
    }
    return part;
}

TopoDS_Shape shaft()
{
    return fuse( cylinder( { 0, -62, 0 }, { 0, 1, 0 }, 8.9, 124 ), cylinder( { 0, 62, 0 }, { 0, 1, 0 }, 6, 18 ) );
}

class Document
{
public:
    Document()
    {
        XCAFApp_Application::GetApplication()->NewDocument( "BinXCAF", document_ );
        shapes_ = XCAFDoc_DocumentTool::ShapeTool( document_->Main() );
        colors_ = XCAFDoc_DocumentTool::ColorTool( document_->Main() );
    }

    TDF_Label part( const char* name, const TopoDS_Shape& shape, Quantity_Color color )
    {
        const TDF_Label label = shapes_->AddShape( shape, false );
        TDataStd_Name::Set( label, name );
        colors_->SetColor( label, color, XCAFDoc_ColorGen );
        return label;
    }

    TDF_Label assembly( const char* name )
    {
        const TDF_Label label = shapes_->NewShape();
        TDataStd_Name::Set( label, name );
        return label;
    }

    void place( const TDF_Label& assembly, const TDF_Label& part, gp_Vec at )
    {
        gp_Trsf t;
        t.SetTranslation( at );
        shapes_->AddComponent( assembly, part, TopLoc_Location( t ) );
    }

    bool write( const std::string& file )
    {
        shapes_->UpdateAssemblies();
        STEPCAFControl_Writer writer;
        return writer.Transfer( document_ ) && writer.Write( file.c_str() ) == IFSelect_RetDone;
    }

private:
    Handle( TDocStd_Document ) document_;
    Handle( XCAFDoc_ShapeTool ) shapes_;
    Handle( XCAFDoc_ColorTool ) colors_;
};

Quantity_Color srgb( int r, int g, int b )
{
    return { r / 255., g / 255., b / 255., Quantity_TOC_sRGB };
}

bool writeBracket( const std::string& file )
{
    Document document;
    document.part( "Bracket", bracket(), srgb( 158, 172, 188 ) );
    return document.write( file );
}

bool writeDrive( const std::string& file )
{
    Document document;
    TopoDS_Shape plate = rounded( box( { -50, -60, -10 }, { 50, 60, 0 } ), 10,
        []( gp_Pnt a, gp_Pnt b ) { return near( a.X(), b.X() ) && near( a.Y(), b.Y() ); } );
    const TDF_Label base = document.part( "Base plate", plate, srgb( 72, 84, 100 ) );
    const TDF_Label housing = document.part( "Bearing", bearing(), srgb( 222, 128, 48 ) );
    const TDF_Label screw = document.part( "Bolt M7", bolt(), srgb( 196, 200, 206 ) );
    const TDF_Label axle = document.part( "Shaft", shaft(), srgb( 170, 178, 188 ) );
    const TDF_Label disc = document.part( "Wheel", wheel(), srgb( 52, 120, 176 ) );

    const TDF_Label support = document.assembly( "Bearing with bolts" );
    document.place( support, housing, { 0, 0, 0 } );
    document.place( support, screw, { -23.5, 0, 10 } );
    document.place( support, screw, { 23.5, 0, 10 } );
    const TDF_Label drive = document.assembly( "Drive" );
    document.place( drive, base, { 0, 0, 0 } );
    document.place( drive, support, { 0, -40, 0 } );
    document.place( drive, support, { 0, 40, 0 } );
    document.place( drive, axle, { 0, 0, cAxisHeight } );
    document.place( drive, disc, { 0, 0, cAxisHeight } );
    return document.write( file );
}

/// A panel with hundreds of countersunk holes of different depths.
bool writePanel( const std::string& file )
{
    constexpr int cColumns = 18, cRows = 12;
    TopoDS_Compound holes;
    BRep_Builder builder;
    builder.MakeCompound( holes );
    for ( int x = 0; x < cColumns; ++x )
        for ( int y = 0; y < cRows; ++y )
        {
            const double cx = 10 + 10 * x, cy = 10 + 10 * y;
            builder.Add( holes, fuse( cylinder( { cx, cy, -1 }, { 0, 0, 1 }, 1.5, 10 ),
                                    cylinder( { cx, cy, 3 + 0.01 * x }, { 0, 0, 1 }, 3, 10 ) ) );
        }
    Document document;
    document.part( "Panel", cut( box( { 0, 0, 0 }, { 10. + 10 * cColumns, 10. + 10 * cRows, 6 } ), holes ),
        srgb( 150, 164, 178 ) );
    return document.write( file );
}

} // namespace

int main( int argc, char** argv )
{
    const bool large = argc == 3 && std::string( argv[2] ) == "--large";
    if ( argc != 2 && !large )
    {
        std::fputs( "Usage: make_samples FOLDER [--large]\n", stderr );
        return 2;
    }
    Message::DefaultMessenger()->ChangePrinters().Clear();
    const std::string folder = argv[1];
    if ( large && writePanel( folder + "/panel.step" ) )
        return 0;
    if ( !large && writeBracket( folder + "/bracket.step" ) && writeDrive( folder + "/drive.step" ) )
        return 0;
    std::fputs( "The samples cannot be written\n", stderr );
    return 1;
}
