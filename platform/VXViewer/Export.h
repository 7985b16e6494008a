#pragma once

/// Marks what libVXViewer exports; everything else is hidden.
#define VXVIEWER_API __attribute__( ( visibility( "default" ) ) )
