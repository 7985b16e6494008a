#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/Export.h>

#include <unordered_set>
#include <vector>

namespace VX
{

/// The tree of the scene's objects: select, hide, fold, rename. Rows are made when the scene changes, and only those
/// in sight are drawn. UI thread.
class VXVIEWER_API SceneObjectsListDrawer
{
public:
    SceneObjectsListDrawer() = default;
    virtual ~SceneObjectsListDrawer() = default;
    SceneObjectsListDrawer( const SceneObjectsListDrawer& ) = delete;
    SceneObjectsListDrawer& operator=( const SceneObjectsListDrawer& ) = delete;

    /// Draws the rows into the current window, down to `bottom` pixels above its lower edge.
    void draw( Object& root, float bottom );

    /// Selects one object (null: none) and shows its row; `add` toggles it in the selection instead.
    void select( Object& root, Object* object, bool add );
    /// Selects all objects of the rows between the last one selected and this one.
    void selectRange( Object& root, Object* object );

    /// Lets the user edit the name of an object in its row.
    void startRename( Object& object );
    [[nodiscard]] bool isRenaming() const { return renamed_ != nullptr; }

    [[nodiscard]] size_t objectCount() const { return objects_; }
    [[nodiscard]] size_t triangleCount() const { return triangles_; }

protected:
    /// Draws what belongs to a row after it, such as its context menu.
    virtual void drawRowExtras_( Object& object );
    /// Draws what belongs to the empty place below the rows.
    virtual void drawEmptyExtras_( Object& root );

private:
    struct Row
    {
        Object* object;
        int depth;
    };

    void updateRows_( Object& root );
    void collect_( Object& object, int depth );
    void drawRows_( Object& root );
    void drawRow_( Object& root, const Row& row );
    void drawFold_( Object& object );
    void drawName_( Object& root, Object& object, float width );
    void drawRename_( Object& object, float width );
    void drawEye_( Object& object, float x );

    std::vector<Row> rows_;
    std::unordered_set<const Object*> folded_;
    uint64_t revision_ = 0;
    const Object* root_ = nullptr;
    size_t objects_ = 0;
    size_t triangles_ = 0;
    const Object* scrollTo_ = nullptr;
    const Object* lastSelected_ = nullptr;
    const Object* renamed_ = nullptr;
    std::string newName_;
    bool focusName_ = false;
};

} // namespace VX
