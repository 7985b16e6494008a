/// Takes a converter's place where what is around a conversion is looked at: it waits, and makes a cube whose name
/// tells which file it was given and when it began. Usage: waiting_converter MILLISECONDS FOLDER …, as a service starts
/// it by "--converter"
#include "crypto/Hex.h"
#include "support/ScratchFolder.h"
#include "worker/WorkerMain.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/SimpleShapes.h>
#include <VXMesh/scene/VisualObjects.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace
{

using namespace VX;

bool writeCube( const std::filesystem::path& file, const std::string& name )
{
    const auto cube = std::make_shared<ObjectMesh>();
    cube->setMesh( std::make_shared<Mesh>( SimpleShapes::makeCuboid( { 1, 1, 1 } ) ) );
    cube->setName( name );
    const std::shared_ptr<Object> object = cube;
    return saveVxu( file, { &object, 1 } ).has_value();
}

/// The digest of the archive, and microseconds since 1970.
std::string nameFor( const std::filesystem::path& archive )
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return Backend::hex( Backend::sha256( Testing::readFile( archive ) ) ) + " " +
           std::to_string( std::chrono::duration_cast<std::chrono::microseconds>( now ).count() );
}

} // namespace

int main( int argc, char** argv )
{
    if ( argc < 3 )
        return 2;
    const std::chrono::milliseconds wait( std::stol( argv[1] ) );
    const std::filesystem::path folder = argv[2];
    for ( int what = std::getchar(); what != EOF; what = std::getchar() )
    {
        const bool isTry = what == Backend::cTry;
        const auto name = isTry ? "trial" : nameFor( folder / "input.zip" );
        if ( !isTry )
            std::this_thread::sleep_for( wait );
        std::puts( writeCube( folder / "result.vxu", name ) ? R"({"done": true})" : R"({"error": "no room"})" );
        std::fflush( stdout );
        if ( !isTry )
            break;
    }
    return 0;
}
