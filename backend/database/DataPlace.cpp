#include "database/DataPlace.h"

#include "database/DatabaseFiles.h"
#include "database/postgres/PostgresEngine.h"

namespace VX::Backend
{
namespace
{

OpenedDatabase openSchema( const DataPlace& place, const char* schema )
{
    return Database::open( std::make_unique<PostgresEngine>( place.database, schema ) );
}

} // namespace

OpenedDatabase openMain( const DataPlace& place )
{
    return place.database.empty() ? Database::open( place.data / cMainDatabase ) : openSchema( place, cMainSchema );
}

OpenedDatabase openStatistics( const DataPlace& place )
{
    return place.database.empty() ? Database::open( place.data / cStatisticsDatabase )
                                  : openSchema( place, cStatisticsSchema );
}

OpenedDatabase openExistingMain( const DataPlace& place )
{
    return place.database.empty() ? Database::openExisting( place.data / cMainDatabase )
                                  : openSchema( place, cMainSchema );
}

OpenedDatabase openExistingStatistics( const DataPlace& place )
{
    return place.database.empty() ? Database::openExisting( place.data / cStatisticsDatabase )
                                  : openSchema( place, cStatisticsSchema );
}

} // namespace VX::Backend
