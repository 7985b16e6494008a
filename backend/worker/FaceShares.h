#pragma once

#include <NCollection_DataMap.hxx>
#include <StepShape_ConnectedFaceSet.hxx>
#include <StepShape_HArray1OfFace.hxx>
#include <TopTools_ShapeMapHasher.hxx>
#include <TopoDS_Shape.hxx>
#include <XSControl_WorkSession.hxx>

#include <optional>
#include <vector>

namespace VX::Backend
{

/// What to do with a face that is not simply one of its process's own.
enum class FaceRole
{
    Placeholder, ///< another process's; here only so that its shell is not empty
    OfCutShell   ///< its shell goes on in another process
};

/// By the face without its location: one shell may stand in several places.
using FaceRoles = NCollection_DataMap<TopoDS_Shape, FaceRole, TopTools_ShapeMapHasher>;

/// The faces of a STEP file, dealt to processes that each turn a share of them into triangles: Open CASCADE transfers
/// and heals on one thread only, and that is most of the time.
///
/// Shells stay whole but for those that would make the shares uneven. Each process drops the faces of the others from
/// the model before it is transferred, and so still sees all products, names and placements.
class FaceShares
{
public:
    /// Deals the faces of the file that the session has read in shares of at least so many edges, about. There is one
    /// share when the file is too small to gain by more, holds faces that belong to no shell or to several, or needs a
    /// whole shell to be healed.
    FaceShares( const Handle( XSControl_WorkSession ) & session, int most, double least );

    [[nodiscard]] int count() const { return count_; }
    /// Drops all other shares' faces from the model; once, before the transfer.
    void keepOnly( int share );
    /// After the transfer: the faces with a role. Nothing when a placeholder cannot be told from other faces any more.
    [[nodiscard]] std::optional<FaceRoles> roles() const;

private:
    struct Face
    {
        Handle( StepShape_Face ) entity;
        double weight = 0;
        int share = 0;
    };
    struct Shell
    {
        Handle( StepShape_ConnectedFaceSet ) set;
        std::vector<Face> faces;
        double weight = 0;
    };
    struct Role
    {
        Handle( StepShape_Face ) face;
        FaceRole role;
    };

    [[nodiscard]] bool collectShells_();
    /// Whether all faces look to the same side, as the directions tell in which they use their edges, and no edge has
    /// more than two. Where this does not hold, healing turns faces over by what lies around them.
    [[nodiscard]] static bool isConsistent_( const Shell& shell );
    void deal_( int most, double least );
    void keepFaces_( const Shell& shell, int share, int count );
    void keepPlaceholder_( const Shell& shell );

    Handle( XSControl_WorkSession ) session_;
    std::vector<Shell> shells_;
    int count_ = 1;
    std::vector<Role> roles_;
};

} // namespace VX::Backend
