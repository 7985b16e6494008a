#include <VXOrvanta/converter/ConverterService.h>

#include <cstdio>

int main( int argc, char** argv )
{
    if ( argc != 2 )
        return 2;
    const auto loaded = VX::ConverterService::fromStep( argv[1] );
    std::puts( loaded ? "loaded" : loaded.error().c_str() );
    return loaded ? 0 : 1;
}
