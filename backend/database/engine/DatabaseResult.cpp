#include "database/engine/DatabaseResult.h"

namespace VX::Backend
{

std::string textOf( const SqlValue& value )
{
    const auto* text = std::get_if<std::string>( &value );
    return text ? *text : std::string();
}

int64_t integerOf( const SqlValue& value )
{
    const auto* number = std::get_if<int64_t>( &value );
    return number ? *number : 0;
}

} // namespace VX::Backend
