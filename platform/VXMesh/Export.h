#pragma once

/// Marks what libVXMesh exports; everything else is hidden.
#define VXMESH_API __attribute__( ( visibility( "default" ) ) )
