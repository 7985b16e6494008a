#include "AssimpReader.h"

#include "GltfTransforms.h"
#include "MovedFile.h"

#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/scene/Origin.h>
#include <VXMesh/scene/VisualObjects.h>

#include <assimp/DefaultIOSystem.h>
#include <assimp/Importer.hpp>
#include <assimp/MemoryIOWrapper.h>
#include <assimp/ProgressHandler.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <new>

namespace VX
{
namespace
{

constexpr int cMaxDepth = 200;
constexpr const char* cEmpty = "it holds no surfaces, points or lines";

class ProgressAdapter final : public Assimp::ProgressHandler
{
public:
    explicit ProgressAdapter( ProgressCallback progress )
        : progress_( std::move( progress ) )
    {
    }
    bool Update( float fraction ) override
    {
        return fraction < 0 || reportProgress( progress_, std::min( fraction, 1.f ) );
    }

private:
    ProgressCallback progress_;
};

Vector3f toVector( const aiVector3D& v )
{
    return { v.x, v.y, v.z };
}

uint8_t toByte( float v )
{
    return v > 0 ? uint8_t( std::lround( std::min( v, 1.f ) * 255 ) ) : uint8_t( 0 );
}

Color toColor( const aiColor4D& c )
{
    return { toByte( c.r ), toByte( c.g ), toByte( c.b ), toByte( c.a ) };
}

std::vector<Vector3f> pointsOf( const aiMesh& source )
{
    std::vector<Vector3f> out( source.mNumVertices );
    for ( unsigned i = 0; i < source.mNumVertices; ++i )
        out[i] = toVector( source.mVertices[i] );
    return out;
}

std::vector<Color> colorsOf( const aiMesh& source )
{
    if ( !source.HasVertexColors( 0 ) )
        return {};
    std::vector<Color> out( source.mNumVertices );
    for ( unsigned i = 0; i < source.mNumVertices; ++i )
        out[i] = toColor( source.mColors[0][i] );
    return out;
}

std::shared_ptr<Mesh> surfaceOf( const aiMesh& source )
{
    auto mesh = std::make_shared<Mesh>();
    mesh->points = pointsOf( source );
    mesh->vertexColors = colorsOf( source );
    if ( source.HasNormals() )
    {
        mesh->normals.resize( source.mNumVertices );
        for ( unsigned i = 0; i < source.mNumVertices; ++i )
            mesh->normals[i] = toVector( source.mNormals[i] );
    }
    mesh->triangles.reserve( source.mNumFaces );
    for ( unsigned i = 0; i < source.mNumFaces; ++i )
        if ( const aiFace& face = source.mFaces[i]; face.mNumIndices == 3 )
            mesh->triangles.push_back( { face.mIndices[0], face.mIndices[1], face.mIndices[2] } );
    if ( !isConsistent( *mesh ) )
        return nullptr;
    addCreases( *mesh );
    return mesh;
}

std::shared_ptr<VisualObject> linesOf( const aiMesh& source )
{
    auto lines = std::make_shared<Lines>();
    lines->points = pointsOf( source );
    for ( unsigned i = 0; i < source.mNumFaces; ++i )
        if ( const aiFace& face = source.mFaces[i]; face.mNumIndices == 2 )
            if ( std::max( face.mIndices[0], face.mIndices[1] ) < source.mNumVertices )
                lines->segments.push_back( { face.mIndices[0], face.mIndices[1] } );
    if ( lines->segments.empty() )
        return nullptr;
    auto object = std::make_shared<ObjectLines>();
    object->setLines( std::move( lines ) );
    return object;
}

std::shared_ptr<VisualObject> objectOf( const aiMesh& source )
{
    if ( source.mPrimitiveTypes & aiPrimitiveType_TRIANGLE )
    {
        auto mesh = surfaceOf( source );
        if ( !mesh )
            return nullptr;
        auto object = std::make_shared<ObjectMesh>();
        object->setMesh( std::move( mesh ) );
        return object;
    }
    if ( source.mPrimitiveTypes & aiPrimitiveType_LINE )
        return linesOf( source );
    if ( source.mNumVertices == 0 )
        return nullptr;
    auto object = std::make_shared<ObjectPoints>();
    object->setPoints( std::make_shared<PointCloud>( PointCloud{ pointsOf( source ), colorsOf( source ) } ) );
    return object;
}

AffineXf3d toXf( const aiMatrix4x4& m )
{
    return { { { m.a1, m.a2, m.a3 }, { m.b1, m.b2, m.b3 }, { m.c1, m.c2, m.c3 } }, { m.a4, m.b4, m.c4 } };
}

class SceneConverter
{
public:
    SceneConverter( const aiScene& scene, NodeTransforms transforms )
        : scene_( scene )
        , transforms_( std::move( transforms ) )
    {
    }

    std::shared_ptr<Object> convert( const std::string& name )
    {
        auto root = node_( *scene_.mRootNode, 0 );
        while ( root && root->children().size() == 1 && !dynamic_cast<VisualObject*>( root.get() ) )
        {
            auto child = root->children().front()->detach();
            child->setXf( root->xf() * child->xf() );
            root = std::move( child );
        }
        if ( root )
            root->setName( name );
        return root;
    }

private:
    std::shared_ptr<Object> part_( unsigned index )
    {
        const aiMesh& source = *scene_.mMeshes[index];
        auto object = objectOf( source );
        if ( !object )
            return nullptr;
        object->setName( source.mName.length > 0 ? source.mName.C_Str() : "Mesh" );
        if ( source.mMaterialIndex < scene_.mNumMaterials && scene_.mNumMaterials > 1 )
            setColor_( *object, *scene_.mMaterials[source.mMaterialIndex] );
        return object;
    }

    static void setColor_( VisualObject& object, const aiMaterial& material )
    {
        aiColor4D color;
        if ( material.Get( AI_MATKEY_COLOR_DIFFUSE, color ) != aiReturn_SUCCESS )
            return;
        // Some formats keep it apart from the colour. Nobody models what cannot be seen at all: 0 is a mistaken scale.
        float opacity = 1;
        if ( material.Get( AI_MATKEY_OPACITY, opacity ) == aiReturn_SUCCESS && opacity > 0 )
            color.a = std::min( color.a, opacity );
        object.setColor( toColor( color ) );
    }

    /// Null for branches that hold no geometry, such as lights and bones.
    std::shared_ptr<Object> node_( const aiNode& node, int depth )
    {
        auto object = std::make_shared<Object>();
        object->setName( node.mName.C_Str() );
        const auto exact = transforms_.find( &node );
        object->setXf( exact != transforms_.end() ? exact->second : toXf( node.mTransformation ) );
        for ( unsigned i = 0; i < node.mNumMeshes; ++i )
            if ( auto part = part_( node.mMeshes[i] ) )
                object->addChild( std::move( part ) );
        for ( unsigned i = 0; i < node.mNumChildren && depth < cMaxDepth; ++i )
            if ( auto child = node_( *node.mChildren[i], depth + 1 ) )
                object->addChild( std::move( child ) );
        return object->children().empty() ? nullptr : object;
    }

    const aiScene& scene_;
    NodeTransforms transforms_;
};

bool isYUp( const std::filesystem::path& file )
{
    return toLower( utf8string( file.extension() ) ) == ".gltf";
}

/// The library takes such a face for a polygon, looks for corners in it and ends the process in an assertion.
bool hasEmptyFace( const aiScene& scene )
{
    for ( unsigned m = 0; m < scene.mNumMeshes; ++m )
        for ( unsigned i = 0; i < scene.mMeshes[m]->mNumFaces; ++i )
            if ( scene.mMeshes[m]->mFaces[i].mNumIndices == 0 )
                return true;
    return false;
}

bool isEmpty( const aiScene& scene )
{
    return std::all_of(
        scene.mMeshes, scene.mMeshes + scene.mNumMeshes, []( const aiMesh* mesh ) { return mesh->mNumVertices == 0; } );
}

/// The library takes points that no face refers to for damage: each gets one.
void giveFacesToPoints( aiMesh& mesh )
{
    if ( mesh.mNumFaces > 0 || mesh.mNumVertices == 0 )
        return;
    mesh.mFaces = new aiFace[mesh.mNumVertices]; // the mesh takes ownership
    mesh.mNumFaces = mesh.mNumVertices;
    mesh.mPrimitiveTypes = aiPrimitiveType_POINT;
    for ( unsigned i = 0; i < mesh.mNumFaces; ++i )
    {
        mesh.mFaces[i].mIndices = new unsigned[1]{ i };
        mesh.mFaces[i].mNumIndices = 1;
    }
}

/// The steps that make triangles, lines and points of what was read. Points of a cloud may coincide.
unsigned stepsFor( const aiScene& scene )
{
    const bool isCloud = std::all_of( scene.mMeshes, scene.mMeshes + scene.mNumMeshes,
        []( const aiMesh* mesh ) { return mesh->mPrimitiveTypes == aiPrimitiveType_POINT; } );
    return aiProcess_RemoveComponent | aiProcess_Triangulate | aiProcess_SortByPType | aiProcess_ValidateDataStructure |
           ( isCloud ? 0u : unsigned( aiProcess_JoinIdenticalVertices ) );
}

/// Shows the library other bytes in the place of the file to be read, where there are any, and remembers which file
/// beside it was looked for in vain.
class Folder final : public Assimp::DefaultIOSystem
{
public:
    Folder( std::filesystem::path file, const std::string* bytes, std::string& missing )
        : file_( std::move( file ) )
        , bytes_( bytes )
        , missing_( missing )
    {
    }

    Assimp::IOStream* Open( const char* name, const char* mode ) override
    {
        if ( bytes_ && name == file_ )
            return new Assimp::MemoryIOStream( reinterpret_cast<const uint8_t*>( bytes_->data() ), bytes_->size() );
        auto* stream = DefaultIOSystem::Open( name, mode );
        if ( !stream && missing_.empty() && name != file_ )
            missing_ = utf8string( std::filesystem::path( name ).filename() );
        return stream;
    }

private:
    std::filesystem::path file_;
    const std::string* bytes_;
    std::string& missing_;
};

/// Why nothing was read, in words of ours. Throws when memory ran out.
std::string reasonOf( const Assimp::Importer& importer, const std::string& missing )
{
    try
    {
        if ( const auto& error = importer.GetException() )
            std::rethrow_exception( error );
    }
    catch ( const std::bad_alloc& )
    {
        throw;
    }
    catch ( ... ) // NOLINT(bugprone-empty-catch): the library's own words are not for the user
    {
    }
    return missing.empty() ? cUnreadable : "\"" + missing + "\", which it names, cannot be opened in its folder";
}

} // namespace

tl::expected<std::shared_ptr<Object>, std::string> readWithAssimp(
    const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto moved = MovedFile::read( file );
    Assimp::Importer importer;
    importer.SetProgressHandler( new ProgressAdapter( progress ) ); // takes ownership
    // Facet normals would keep the corners of an STL file apart; smooth ones are made when the mesh is drawn.
    const int facetNormals = toLower( utf8string( file.extension() ) ) == ".stl" ? int( aiComponent_NORMALS ) : 0;
    importer.SetPropertyInteger(
        AI_CONFIG_PP_RVC_FLAGS, aiComponent_TANGENTS_AND_BITANGENTS | aiComponent_TEXCOORDS | facetNormals );
    importer.SetPropertyBool( AI_CONFIG_IMPORT_FBX_PRESERVE_PIVOTS, false );
    std::string missing;
    importer.SetIOHandler( new Folder( file, moved ? &moved->bytes : nullptr, missing ) ); // takes ownership
    const aiScene* scene = importer.ReadFile( file.string(), 0 );
    if ( !scene )
        return tl::unexpected( reasonOf( importer, missing ) );
    if ( isEmpty( *scene ) )
        return tl::unexpected( std::string( cEmpty ) );
    if ( hasEmptyFace( *scene ) )
        return tl::unexpected( std::string( "a face has no corners" ) );
    for ( unsigned i = 0; i < scene->mNumMeshes; ++i )
        giveFacesToPoints( *scene->mMeshes[i] );
    scene = importer.ApplyPostProcessing( stepsFor( *scene ) );
    if ( !scene || !scene->mRootNode )
        return tl::unexpected( reasonOf( importer, {} ) );
    auto transforms = isYUp( file ) ? gltfTransforms( file, *scene->mRootNode ) : NodeTransforms{};
    auto root = SceneConverter( *scene, std::move( transforms ) ).convert( utf8string( file.stem() ) );
    if ( !root )
        return tl::unexpected( std::string( cEmpty ) );
    if ( isYUp( file ) )
        root->setXf( AffineXf3d{ { { 1, 0, 0 }, { 0, 0, -1 }, { 0, 1, 0 } }, {} } * root->xf() );
    if ( moved )
        root->setXf( translation( moved->origin ) * root->xf() );
    return root;
}

} // namespace VX
