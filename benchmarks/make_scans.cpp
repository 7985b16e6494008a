/// Writes what a 3D scanner might: make_scans FOLDER TRIANGLES makes "scan.stl" and "scan.ply" of about so many.
#include "support/TestMeshes.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

int main( int argc, char** argv )
{
    if ( argc != 3 )
    {
        std::fputs( "Usage: make_scans FOLDER TRIANGLES\n", stderr );
        return EXIT_FAILURE;
    }
    const std::filesystem::path folder = argv[1];
    auto mesh = VX::Testing::wavySheet( int( std::sqrt( std::atof( argv[2] ) / 2 ) ) );
    mesh.normals.clear();
    std::ofstream stl( folder / "scan.stl", std::ios::binary ), ply( folder / "scan.ply", std::ios::binary );
    stl << VX::Testing::binaryStl( mesh );
    ply << VX::Testing::binaryPly( mesh );
    return stl && ply ? EXIT_SUCCESS : EXIT_FAILURE;
}
