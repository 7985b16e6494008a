#include "storage/ObjectFiles.h"

#include "crypto/Hex.h"

namespace VX::Backend
{

std::filesystem::path objectFile( const std::filesystem::path& folder, const std::string& key )
{
    const auto name = hex( sha256( key ) );
    return folder / name.substr( 0, 2 ) / name;
}

} // namespace VX::Backend
