#include "worker/StepReader.h"

#include "worker/ShapeMesher.h"

#include <BRepBndLib.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Builder.hxx>
#include <Bnd_Box.hxx>
#include <IMeshTools_Parameters.hxx>
#include <Interface_Static.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <STEPCAFControl_Reader.hxx>
#include <Standard_Failure.hxx>
#include <TDF_Tool.hxx>
#include <TDataStd_Name.hxx>
#include <TDocStd_Document.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS_Compound.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <unordered_map>

namespace VX::Backend
{
namespace
{

// Healing that looks for self-intersections takes up to a fifth of the time and has not changed a triangle of the files
// it was compared on; switching all of it off would lose most faces of some.
constexpr const char* cHealing = R"(FromSTEP.exec.op : FixShape
FromSTEP.FixShape.Tolerance3d : &Runtime.Tolerance
FromSTEP.FixShape.MaxTolerance3d : &Runtime.MaxTolerance
FromSTEP.FixShape.MinTolerance3d : 1.e-7
FromSTEP.FixShape.FixLoopWiresMode : 0
FromSTEP.FixShape.FixSelfIntersectionMode : 0
FromSTEP.FixShape.FixSelfIntersectingEdgeMode : 0
FromSTEP.FixShape.FixIntersectingEdgesMode : 0
FromSTEP.FixShape.FixNonAdjacentIntersectingEdgesMode : 0
)";

void configure( const std::filesystem::path& scratch )
{
    std::ofstream( scratch / "STEP" ) << cHealing;
    ::setenv( "CSF_STEPDefaults", scratch.c_str(), 1 );
    Message::DefaultMessenger()->ChangePrinters().Clear();
}

std::string tail( std::ifstream& in, std::streamoff size )
{
    constexpr std::streamoff cTail = 64 * 1024;
    in.clear();
    in.seekg( std::max<std::streamoff>( 0, size - cTail ) );
    return { std::istreambuf_iterator<char>( in ), {} };
}

/// What a look at the head and the tail of a file tells; empty when it may be a STEP file.
std::string quickProblem( const std::filesystem::path& file )
{
    std::ifstream in( file, std::ios::binary );
    std::error_code ec;
    const auto size = std::streamoff( std::filesystem::file_size( file, ec ) );
    if ( ec || !in )
        return "The uploaded file cannot be read";
    if ( size == 0 )
        return "The file is empty";
    std::string head( 4096, '\0' );
    in.read( head.data(), std::streamsize( head.size() ) );
    if ( head.find( "ISO-10303-21" ) == std::string::npos )
        return "This is not a STEP file";
    if ( tail( in, size ).find( "END-ISO-10303-21" ) == std::string::npos )
        return "The STEP file is cut off: its end is missing";
    return {};
}

std::string nameOf( const TDF_Label& label )
{
    Handle( TDataStd_Name ) name;
    if ( !label.FindAttribute( TDataStd_Name::GetID(), name ) )
        return {};
    const TCollection_ExtendedString& text = name->Get();
    std::string out( size_t( text.LengthOfCString() ) + 1, '\0' );
    Standard_PCharacter buffer = out.data();
    out.resize( size_t( std::max( text.ToUTF8CString( buffer ), 0 ) ) );
    return out;
}

AffineXf3f toXf( const TopLoc_Location& location )
{
    const gp_Trsf t = location.Transformation();
    const auto row = [&]( int r )
    { return Vector3f{ float( t.Value( r, 1 ) ), float( t.Value( r, 2 ) ), float( t.Value( r, 3 ) ) }; };
    return { { row( 1 ), row( 2 ), row( 3 ) },
        { float( t.Value( 1, 4 ) ), float( t.Value( 2, 4 ) ), float( t.Value( 3, 4 ) ) } };
}

class StepDocument
{
public:
    StepDocument()
    {
        XCAFApp_Application::GetApplication()->NewDocument( "BinXCAF", document_ );
        shapes_ = XCAFDoc_DocumentTool::ShapeTool( document_->Main() );
        colors_ = XCAFDoc_DocumentTool::ColorTool( document_->Main() );
    }

    [[nodiscard]] tl::expected<void, std::string> read( const std::filesystem::path& file )
    {
        STEPCAFControl_Reader reader;
        reader.SetColorMode( true );
        reader.SetNameMode( true );
        reader.SetLayerMode( false );
        reader.SetPropsMode( false );
        reader.SetGDTMode( false );
        reader.SetMatMode( false );
        reader.SetViewMode( false );
        if ( reader.ReadFile( file.c_str() ) != IFSelect_RetDone )
            return tl::unexpected( std::string( "The STEP file is damaged and cannot be read" ) );
        if ( !reader.Transfer( document_ ) )
            return tl::unexpected( std::string( "The STEP file holds no solids or surfaces" ) );
        shapes_->GetFreeShapes( roots_ );
        return {};
    }

    /// Meshes every part once, all faces side by side.
    void tessellate( const Tessellation& tessellation )
    {
        TopoDS_Compound all;
        BRep_Builder builder;
        builder.MakeCompound( all );
        Bnd_Box box;
        for ( const TDF_Label& root : roots_ )
        {
            const TopoDS_Shape shape = XCAFDoc_ShapeTool::GetShape( root );
            BRepBndLib::AddClose( shape, box );
            builder.Add( all, shape );
        }
        if ( box.IsVoid() )
            return;
        double x0 = 0, y0 = 0, z0 = 0, x1 = 0, y1 = 0, z1 = 0;
        box.Get( x0, y0, z0, x1, y1, z1 );
        IMeshTools_Parameters parameters;
        parameters.Deflection = std::max( { x1 - x0, y1 - y0, z1 - z0, 1e-6 } ) * tessellation.deflection;
        parameters.Angle = tessellation.angle;
        parameters.Relative = false;
        parameters.InParallel = true;
        const BRepMesh_IncrementalMesh mesher( all, parameters );
    }

    [[nodiscard]] std::vector<std::shared_ptr<Object>> objects()
    {
        std::vector<std::shared_ptr<Object>> out;
        for ( const TDF_Label& root : roots_ )
            if ( auto object = object_( root, std::nullopt ) )
                out.push_back( std::move( object ) );
        return out;
    }

private:
    struct Part
    {
        std::shared_ptr<const Mesh> mesh; ///< null when there is nothing to draw
        Color color;
    };

    [[nodiscard]] std::optional<Color> colorOf_( const TDF_Label& label ) const
    {
        Quantity_Color color;
        if ( !colors_->GetColor( label, XCAFDoc_ColorSurf, color ) &&
             !colors_->GetColor( label, XCAFDoc_ColorGen, color ) )
            return {};
        return toColor( color );
    }

    /// Null for branches without surfaces.
    std::shared_ptr<Object> object_( const TDF_Label& label, std::optional<Color> inherited )
    {
        TDF_Label product = label;
        if ( XCAFDoc_ShapeTool::IsReference( label ) )
            XCAFDoc_ShapeTool::GetReferredShape( label, product );
        if ( const auto own = colorOf_( label ) )
            inherited = own;
        auto object =
            XCAFDoc_ShapeTool::IsAssembly( product ) ? assembly_( product, inherited ) : part_( product, inherited );
        if ( !object )
            return nullptr;
        object->setXf( toXf( XCAFDoc_ShapeTool::GetLocation( label ) ) );
        auto name = nameOf( product );
        if ( name.empty() )
            name = nameOf( label );
        object->setName( name.empty() ? "Part" : name );
        return object;
    }

    std::shared_ptr<Object> assembly_( const TDF_Label& product, std::optional<Color> inherited )
    {
        auto object = std::make_shared<Object>();
        TDF_LabelSequence components;
        XCAFDoc_ShapeTool::GetComponents( product, components );
        for ( const TDF_Label& component : components )
            if ( auto child = object_( component, inherited ) )
                object->addChild( std::move( child ) );
        return object->children().empty() ? nullptr : object;
    }

    std::shared_ptr<Object> part_( const TDF_Label& product, std::optional<Color> inherited )
    {
        const Part& part = meshOf_( product );
        if ( !part.mesh )
            return nullptr;
        auto object = std::make_shared<ObjectMesh>();
        object->setMesh( part.mesh );
        object->setColor( inherited.value_or( part.color ) );
        return object;
    }

    const Part& meshOf_( const TDF_Label& product )
    {
        const auto key = entryOf_( product );
        if ( const auto it = parts_.find( key ); it != parts_.end() )
            return it->second;
        FaceColors faceColors;
        TDF_LabelSequence subshapes;
        XCAFDoc_ShapeTool::GetSubShapes( product, subshapes );
        for ( const TDF_Label& sub : subshapes )
            if ( const auto color = colorOf_( sub ) )
                faceColors.add( XCAFDoc_ShapeTool::GetShape( sub ), *color );
        Part part{ nullptr, colorOf_( product ).value_or( VisualObject::cDefaultColor ) };
        TopoDS_Shape shape = XCAFDoc_ShapeTool::GetShape( product );
        // Where the part stands is the object's business.
        shape.Location( TopLoc_Location() );
        part.mesh = meshFromShape( shape, faceColors, part.color );
        return parts_.emplace( key, std::move( part ) ).first->second;
    }

    static std::string entryOf_( const TDF_Label& label )
    {
        TCollection_AsciiString entry;
        TDF_Tool::Entry( label, entry );
        return entry.ToCString();
    }

    Handle( TDocStd_Document ) document_;
    Handle( XCAFDoc_ShapeTool ) shapes_;
    Handle( XCAFDoc_ColorTool ) colors_;
    TDF_LabelSequence roots_;
    std::unordered_map<std::string, Part> parts_;
};

} // namespace

void warmUpStepReader( const std::filesystem::path& scratch )
{
    configure( scratch );
    const StepDocument document;
    const STEPCAFControl_Reader reader;
}

tl::expected<std::vector<std::shared_ptr<Object>>, std::string> readStep(
    const std::filesystem::path& file, const std::filesystem::path& scratch, const Tessellation& tessellation )
{
    if ( auto problem = quickProblem( file ); !problem.empty() )
        return tl::unexpected( std::move( problem ) );
    configure( scratch );
    try
    {
        StepDocument document;
        if ( auto read = document.read( file ); !read )
            return tl::unexpected( read.error() );
        document.tessellate( tessellation );
        auto objects = document.objects();
        if ( objects.empty() )
            return tl::unexpected( std::string( "The STEP file holds no solids or surfaces" ) );
        return objects;
    }
    catch ( const Standard_Failure& failure )
    {
        return tl::unexpected( std::string( "The STEP file cannot be converted: " ) + failure.GetMessageString() );
    }
    catch ( const std::exception& e )
    {
        return tl::unexpected( std::string( "The STEP file cannot be converted: " ) + e.what() );
    }
}

} // namespace VX::Backend
