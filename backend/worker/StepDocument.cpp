#include "worker/StepDocument.h"

#include "worker/InstanceCount.h"
#include "worker/ShapeMesher.h"

#include <BRepBndLib.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Builder.hxx>
#include <IMeshTools_Parameters.hxx>
#include <TDF_Tool.hxx>
#include <TDataStd_Name.hxx>
#include <TopoDS_Compound.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_DocumentTool.hxx>

#include <algorithm>

namespace VX::Backend
{
namespace
{

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

AffineXf3d toXf( const TopLoc_Location& location )
{
    const gp_Trsf t = location.Transformation();
    const auto row = [&]( int r ) { return Vector3d{ t.Value( r, 1 ), t.Value( r, 2 ), t.Value( r, 3 ) }; };
    return { { row( 1 ), row( 2 ), row( 3 ) }, { t.Value( 1, 4 ), t.Value( 2, 4 ), t.Value( 3, 4 ) } };
}

/// What a label stands for: itself, or what it is an instance of.
TDF_Label productOf( const TDF_Label& label )
{
    TDF_Label product = label;
    if ( XCAFDoc_ShapeTool::IsReference( label ) )
        XCAFDoc_ShapeTool::GetReferredShape( label, product );
    return product;
}

std::string entryOf( const TDF_Label& label )
{
    TCollection_AsciiString entry;
    TDF_Tool::Entry( label, entry );
    return entry.ToCString();
}

// What a scene file may hold.
constexpr uint64_t cMostInstances = 1'000'000;

} // namespace

StepDocument::StepDocument()
{
    XCAFApp_Application::GetApplication()->NewDocument( "BinXCAF", document_ );
    shapes_ = XCAFDoc_DocumentTool::ShapeTool( document_->Main() );
    colors_ = XCAFDoc_DocumentTool::ColorTool( document_->Main() );
    reader_.SetColorMode( true );
    reader_.SetNameMode( true );
    reader_.SetLayerMode( false );
    reader_.SetPropsMode( false );
    reader_.SetGDTMode( false );
    reader_.SetMatMode( false );
    reader_.SetViewMode( false );
}

tl::expected<void, std::string> StepDocument::read( const std::filesystem::path& file )
{
    if ( reader_.ReadFile( file.c_str() ) != IFSelect_RetDone )
        return tl::unexpected( std::string( "The STEP file is damaged and cannot be read" ) );
    if ( countInstances( session()->Model(), cMostInstances ) > cMostInstances )
        return tl::unexpected( std::string( "The STEP file places its parts more than a million times" ) );
    return {};
}

tl::expected<void, std::string> StepDocument::transfer()
{
    if ( !reader_.Transfer( document_ ) )
        return tl::unexpected( std::string( "The STEP file holds no solids or surfaces" ) );
    shapes_->GetFreeShapes( roots_ );
    return {};
}

Bnd_Box StepDocument::box() const
{
    Bnd_Box out;
    for ( const TDF_Label& root : roots_ )
        BRepBndLib::AddClose( XCAFDoc_ShapeTool::GetShape( root ), out );
    return out;
}

void StepDocument::tessellate( double deflection, double angle, bool inParallel )
{
    TopoDS_Compound all;
    BRep_Builder builder;
    builder.MakeCompound( all );
    for ( const TDF_Label& root : roots_ )
        builder.Add( all, XCAFDoc_ShapeTool::GetShape( root ) );
    IMeshTools_Parameters parameters;
    parameters.Deflection = deflection;
    parameters.Angle = angle;
    parameters.Relative = false;
    parameters.InParallel = inParallel;
    const BRepMesh_IncrementalMesh mesher( all, parameters );
}

PartMeshes StepDocument::meshes( const FaceRoles& roles ) const
{
    PartMeshes out;
    for ( const TDF_Label& root : roots_ )
        addMeshes_( root, roles, out );
    return out;
}

void StepDocument::addMeshes_( const TDF_Label& label, const FaceRoles& roles, PartMeshes& out ) const
{
    const TDF_Label product = productOf( label );
    if ( XCAFDoc_ShapeTool::IsAssembly( product ) )
    {
        TDF_LabelSequence components;
        XCAFDoc_ShapeTool::GetComponents( product, components );
        for ( const TDF_Label& component : components )
            addMeshes_( component, roles, out );
    }
    else if ( auto key = entryOf( product ); !out.contains( key ) )
        out.emplace( std::move( key ), meshOf_( product, roles ) );
}

PartMesh StepDocument::meshOf_( const TDF_Label& product, const FaceRoles& roles ) const
{
    FaceColors faceColors;
    TDF_LabelSequence subshapes;
    XCAFDoc_ShapeTool::GetSubShapes( product, subshapes );
    for ( const TDF_Label& sub : subshapes )
        if ( const auto color = colorOf_( sub ) )
            faceColors.add( XCAFDoc_ShapeTool::GetShape( sub ), *color );
    TopoDS_Shape shape = XCAFDoc_ShapeTool::GetShape( product );
    // Where the part stands is the object's business.
    shape.Location( TopLoc_Location() );
    return meshFromShape( shape, faceColors, colorOf_( product ).value_or( VisualObject::cDefaultColor ), roles );
}

std::vector<std::shared_ptr<Object>> StepDocument::objects( const PartMeshes& meshes ) const
{
    std::vector<std::shared_ptr<Object>> out;
    for ( const TDF_Label& root : roots_ )
        if ( auto object = object_( root, std::nullopt, meshes ) )
            out.push_back( std::move( object ) );
    return out;
}

std::optional<Color> StepDocument::colorOf_( const TDF_Label& label ) const
{
    Quantity_Color color;
    if ( !colors_->GetColor( label, XCAFDoc_ColorSurf, color ) && !colors_->GetColor( label, XCAFDoc_ColorGen, color ) )
        return {};
    return toColor( color );
}

std::shared_ptr<Object> StepDocument::object_(
    const TDF_Label& label, std::optional<Color> inherited, const PartMeshes& meshes ) const
{
    const TDF_Label product = productOf( label );
    if ( const auto own = colorOf_( label ) )
        inherited = own;
    std::shared_ptr<Object> object;
    if ( XCAFDoc_ShapeTool::IsAssembly( product ) )
        object = assembly_( product, inherited, meshes );
    else if ( const auto part = meshes.find( entryOf( product ) ); part != meshes.end() && part->second.mesh )
    {
        auto visual = std::make_shared<ObjectMesh>();
        visual->setMesh( part->second.mesh );
        visual->setColor( inherited.value_or( part->second.color ) );
        object = std::move( visual );
    }
    if ( !object )
        return nullptr;
    object->setXf( toXf( XCAFDoc_ShapeTool::GetLocation( label ) ) );
    auto name = nameOf( product );
    if ( name.empty() )
        name = nameOf( label );
    object->setName( name.empty() ? "Part" : name );
    return object;
}

std::shared_ptr<Object> StepDocument::assembly_(
    const TDF_Label& product, std::optional<Color> inherited, const PartMeshes& meshes ) const
{
    auto object = std::make_shared<Object>();
    TDF_LabelSequence components;
    XCAFDoc_ShapeTool::GetComponents( product, components );
    for ( const TDF_Label& component : components )
        if ( auto child = object_( component, inherited, meshes ) )
            object->addChild( std::move( child ) );
    return object->children().empty() ? nullptr : object;
}

} // namespace VX::Backend
