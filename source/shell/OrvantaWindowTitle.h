#pragma once

#include <VXOrvanta/Export.h>
#include <VXViewer/core/ViewerTitle.h>

namespace VX
{

/// The window's title with the address of the signed-in user after it. UI thread; owned by the viewer.
///
/// The order of the virtual functions and the one member are the binary interface, as with `ViewerTitle`.
class VXORVANTA_API OrvantaWindowTitle : public ViewerTitle
{
public:
    ~OrvantaWindowTitle() override;

    [[nodiscard]] std::string compose() const override;

    /// Empty when nobody is signed in. The title is composed anew only when the address has changed.
    void setEmail( std::string email );

private:
    std::string email_;
};

} // namespace VX
