#pragma once

/// Marks what libVXOrvanta exports; everything else is hidden.
#define VXORVANTA_API __attribute__( ( visibility( "default" ) ) )
