#pragma once

#include "worker/FaceShares.h"
#include "worker/PartMesh.h"
#include "worker/StepReader.h"

#include <Bnd_Box.hxx>
#include <STEPCAFControl_Reader.hxx>
#include <TDF_LabelSequence.hxx>
#include <TDocStd_Document.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>

#include <optional>

namespace VX::Backend
{

/// A STEP file on its way: read, transferred, tessellated, and turned into meshes and objects, in this order.
class StepDocument
{
public:
    StepDocument();

    [[nodiscard]] tl::expected<void, std::string> read( const std::filesystem::path& file );
    [[nodiscard]] Handle( XSControl_WorkSession ) session() const { return reader_.Reader().WS(); }
    [[nodiscard]] tl::expected<void, std::string> transfer();
    /// Of everything; void when there is nothing to see.
    [[nodiscard]] Bnd_Box box() const;
    /// Meshes every part once.
    void tessellate( double deflection, double angle, bool inParallel );
    /// One a part, however often it is used.
    [[nodiscard]] PartMeshes meshes( const FaceRoles& roles ) const;
    /// The objects of the scene; branches without surfaces are left out.
    [[nodiscard]] std::vector<std::shared_ptr<Object>> objects( const PartMeshes& meshes ) const;

private:
    [[nodiscard]] std::optional<Color> colorOf_( const TDF_Label& label ) const;
    void addMeshes_( const TDF_Label& label, const FaceRoles& roles, PartMeshes& out ) const;
    [[nodiscard]] PartMesh meshOf_( const TDF_Label& product, const FaceRoles& roles ) const;
    [[nodiscard]] std::shared_ptr<Object> object_(
        const TDF_Label& label, std::optional<Color> inherited, const PartMeshes& meshes ) const;
    [[nodiscard]] std::shared_ptr<Object> assembly_(
        const TDF_Label& product, std::optional<Color> inherited, const PartMeshes& meshes ) const;

    Handle( TDocStd_Document ) document_;
    Handle( XCAFDoc_ShapeTool ) shapes_;
    Handle( XCAFDoc_ColorTool ) colors_;
    STEPCAFControl_Reader reader_;
    TDF_LabelSequence roots_;
};

} // namespace VX::Backend
