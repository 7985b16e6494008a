/// Feeds any bytes to the readers of the program's configuration, as a file of the user's would.
#include <VXMesh/io/Json.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/ui/ColorTheme.h>

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    using namespace VX;
    const auto root = deserializeJsonValue( std::string( reinterpret_cast<const char*>( data ), size ) );
    if ( !root )
        return 0;
    const auto config = createOrvantaConfigFromJson( *root );
    if ( config.schema )
        (void)RibbonSchemaHolder::loadSchema( *config.schema );
    if ( config.structure )
        (void)RibbonSchemaHolder::loadStructure( *config.structure );
    if ( config.uiSettings && config.uiSettings->isMember( "Theme" ) )
        (void)ColorTheme::setup( ( *config.uiSettings )["Theme"] );
    (void)RibbonSchemaHolder::search( root->isString() ? root->asString() : "undo" );
    return 0;
}
