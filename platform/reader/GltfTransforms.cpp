#include "GltfTransforms.h"

#include <VXMesh/formats/gltf/GlbReader.h>
#include <VXMesh/io/Json.h>

namespace VX
{
namespace
{

constexpr int cMaxDepth = 200;

/// Follows the tree of the file and the library's at once, as long as they are alike.
class Follower
{
public:
    explicit Follower( const Json::Value& document )
        : document_( document )
    {
    }

    void addNode( int64_t index, const aiNode& node, int depth )
    {
        const auto& json = Gltf::element( document_, "nodes", index );
        if ( !json.isObject() || depth > cMaxDepth )
            return;
        transforms[&node] = Gltf::nodeXf( json );
        addChildren( json["children"], node, depth );
    }

    void addChildren( const Json::Value& indices, const aiNode& node, int depth )
    {
        if ( !indices.isArray() || indices.size() != node.mNumChildren )
            return;
        for ( unsigned i = 0; i < node.mNumChildren; ++i )
            addNode( indices[i].isInt64() ? indices[i].asInt64() : -1, *node.mChildren[i], depth + 1 );
    }

    NodeTransforms transforms;

private:
    const Json::Value& document_;
};

} // namespace

NodeTransforms gltfTransforms( const std::filesystem::path& file, const aiNode& root )
{
    const auto document = deserializeJsonValue( file );
    if ( !document || !document->isObject() )
        return {};
    const auto& scene = Gltf::element( *document, "scenes", Gltf::integerMember( *document, "scene", 0 ) );
    const auto& roots = scene.isObject() ? scene["nodes"] : Json::Value::nullSingleton();
    Follower follower( *document );
    // The library puts a node of its own above several roots.
    if ( roots.isArray() && roots.size() == 1 )
        follower.addNode( roots[0].isInt64() ? roots[0].asInt64() : -1, root, 0 );
    else
        follower.addChildren( roots, root, 0 );
    return std::move( follower.transforms );
}

} // namespace VX
