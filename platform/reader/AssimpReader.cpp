#include "AssimpReader.h"

#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/scene/VisualObjects.h>

#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>

namespace VX
{
namespace
{

constexpr int cMaxDepth = 200;

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
    if ( source.mNumVertices == 0 || source.mPrimitiveTypes & aiPrimitiveType_LINE )
        return nullptr;
    auto object = std::make_shared<ObjectPoints>();
    object->setPoints( std::make_shared<PointCloud>( PointCloud{ pointsOf( source ), colorsOf( source ) } ) );
    return object;
}

AffineXf3f toXf( const aiMatrix4x4& m )
{
    return { { { m.a1, m.a2, m.a3 }, { m.b1, m.b2, m.b3 }, { m.c1, m.c2, m.c3 } }, { m.a4, m.b4, m.c4 } };
}

class SceneConverter
{
public:
    explicit SceneConverter( const aiScene& scene )
        : scene_( scene )
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
        if ( source.mMaterialIndex < scene_.mNumMaterials )
            if ( aiColor4D color;
                scene_.mMaterials[source.mMaterialIndex]->Get( AI_MATKEY_COLOR_DIFFUSE, color ) == aiReturn_SUCCESS &&
                scene_.mNumMaterials > 1 )
                object->setColor( toColor( color ) );
        return object;
    }

    /// Null for branches that hold no geometry, such as lights and bones.
    std::shared_ptr<Object> node_( const aiNode& node, int depth )
    {
        auto object = std::make_shared<Object>();
        object->setName( node.mName.C_Str() );
        object->setXf( toXf( node.mTransformation ) );
        for ( unsigned i = 0; i < node.mNumMeshes; ++i )
            if ( auto part = part_( node.mMeshes[i] ) )
                object->addChild( std::move( part ) );
        for ( unsigned i = 0; i < node.mNumChildren && depth < cMaxDepth; ++i )
            if ( auto child = node_( *node.mChildren[i], depth + 1 ) )
                object->addChild( std::move( child ) );
        return object->children().empty() ? nullptr : object;
    }

    const aiScene& scene_;
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

} // namespace

tl::expected<std::shared_ptr<Object>, std::string> readWithAssimp(
    const std::filesystem::path& file, const ProgressCallback& progress )
{
    Assimp::Importer importer;
    importer.SetProgressHandler( new ProgressAdapter( progress ) ); // takes ownership
    // Facet normals would keep the corners of an STL file apart; smooth ones are made when the mesh is drawn.
    const int facetNormals = toLower( utf8string( file.extension() ) ) == ".stl" ? int( aiComponent_NORMALS ) : 0;
    importer.SetPropertyInteger(
        AI_CONFIG_PP_RVC_FLAGS, aiComponent_TANGENTS_AND_BITANGENTS | aiComponent_TEXCOORDS | facetNormals );
    importer.SetPropertyBool( AI_CONFIG_IMPORT_FBX_PRESERVE_PIVOTS, false );
    const aiScene* scene = importer.ReadFile( file.string(), 0 );
    if ( scene && hasEmptyFace( *scene ) )
        return tl::unexpected( std::string( "a face has no corners" ) );
    if ( scene )
        scene = importer.ApplyPostProcessing( aiProcess_RemoveComponent | aiProcess_Triangulate |
                                              aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
                                              aiProcess_ValidateDataStructure );
    if ( !scene || !scene->mRootNode )
        return tl::unexpected( std::string( importer.GetErrorString() ) );
    auto root = SceneConverter( *scene ).convert( utf8string( file.stem() ) );
    if ( !root )
        return tl::unexpected( std::string( "it holds no meshes or points" ) );
    if ( isYUp( file ) )
        root->setXf( AffineXf3f{ { { 1, 0, 0 }, { 0, 0, -1 }, { 0, 1, 0 } }, {} } * root->xf() );
    return root;
}

} // namespace VX
