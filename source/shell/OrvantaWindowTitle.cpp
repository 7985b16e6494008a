#include <VXOrvanta/shell/OrvantaWindowTitle.h>

namespace VX
{

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
