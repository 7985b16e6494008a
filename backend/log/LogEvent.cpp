#include "log/LogEvent.h"

#include "log/JsonLog.h"

namespace VX::Backend
{

void logEvent( const std::string& message, const std::vector<LogField>& fields )
{
    JsonLog::write( message, fields );
}

} // namespace VX::Backend
