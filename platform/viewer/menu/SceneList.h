#pragma once

#include <VXMesh/scene/Object.h>

#include <unordered_set>
#include <vector>

namespace VX
{

/// The tree of objects at the left edge: select, hide, fold. Rows are made when the scene changes, not when drawn.
class SceneList
{
public:
    void draw( Object& root, float scale );
    /// Selects one object (null: none) and shows its row; `add` toggles it in the selection instead.
    void select( Object& root, Object* object, bool add );

    [[nodiscard]] static float width( float scale ) { return 248 * scale; }

private:
    struct Row
    {
        Object* object;
        int depth;
    };

    void updateRows_( Object& root );
    void collect_( Object& object, int depth );
    void drawRow_( Object& root, const Row& row, float scale );
    void drawFooter_( float scale );

    std::vector<Row> rows_;
    std::unordered_set<const Object*> folded_;
    uint64_t revision_ = 0;
    size_t objects_ = 0;
    size_t triangles_ = 0;
    const Object* scrollTo_ = nullptr;
};

} // namespace VX
