/// The leak sanitizer knows a library only while it is loaded: drivers that are gone at the end of the test could not
/// be told from our own code.
#if defined( __SANITIZE_ADDRESS__ )

extern "C" __attribute__( ( visibility( "default" ) ) ) int dlclose( void* );

extern "C" __attribute__( ( visibility( "default" ) ) ) int dlclose( void* )
{
    return 0;
}

#endif
