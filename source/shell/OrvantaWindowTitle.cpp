#include <VXOrvanta/shell/OrvantaWindowTitle.h>

#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/core/Viewer.h>

namespace VX
{
namespace
{

void showUser( const std::string& email )
{
    if ( auto* title = dynamic_cast<OrvantaWindowTitle*>( getViewerInstance().viewerTitle().get() ) )
        title->setEmail( email );
}

[[maybe_unused]] const bool sShowsUser = ( UserInfo::setDisplay( &showUser ), true );

} // namespace

OrvantaWindowTitle::~OrvantaWindowTitle() = default;

std::string OrvantaWindowTitle::compose() const
{
    auto out = ViewerTitle::compose();
    if ( email_.empty() )
        return out;
    if ( !out.empty() )
        out += ' ';
    return out + email_;
}

void OrvantaWindowTitle::setEmail( std::string email )
{
    if ( email == email_ )
        return;
    email_ = std::move( email );
    update_();
}

} // namespace VX
