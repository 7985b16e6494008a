/* Notes which places of the program a test comes to.
 *
 * Everything is compiled with -fsanitize-coverage=trace-pc, which calls the function below at each branch. It does
 * nothing unless the environment names a folder: then each process keeps there one file with its modules and the
 * addresses it came to. The file is mapped at the start, so nothing is lost when a process is killed and nothing is
 * asked of the system once it has shut itself in. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <link.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

enum
{
    TextSize = 1 << 16,
    Slots = 1 << 18
};

static _Atomic( uintptr_t ) * volatile slots;

static int writeModule( struct dl_phdr_info* info, size_t size, void* file )
{
    (void)size;
    char name[4096];
    const ssize_t length = info->dlpi_name[0] ? snprintf( name, sizeof name, "%s", info->dlpi_name )
                                              : readlink( "/proc/self/exe", name, sizeof name - 1 );
    uintptr_t end = 0;
    for ( int i = 0; i < info->dlpi_phnum; ++i )
    {
        const uintptr_t last = info->dlpi_phdr[i].p_vaddr + info->dlpi_phdr[i].p_memsz;
        if ( info->dlpi_phdr[i].p_type == PT_LOAD && last > end )
            end = last;
    }
    dprintf( *(int*)file, "%zx %zx %.*s\n", (size_t)info->dlpi_addr, (size_t)( info->dlpi_addr + end ), (int)length, name );
    return 0;
}

__attribute__( ( constructor ) ) static void openTrace( void )
{
    const char* folder = getenv( "ORVANTA_REACH" );
    if ( !folder )
        return;
    char name[4096];
    snprintf( name, sizeof name, "%s/XXXXXX", folder );
    int file = mkstemp( name );
    if ( file < 0 )
        return;
    dl_iterate_phdr( writeModule, &file );
    const size_t size = TextSize + Slots * sizeof( uintptr_t );
    if ( ftruncate( file, (off_t)size ) == 0 )
    {
        char* memory = mmap( NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0 );
        if ( memory != MAP_FAILED )
            slots = (void*)( memory + TextSize );
    }
    close( file );
}

void __sanitizer_cov_trace_pc( void )
{
    _Atomic( uintptr_t )* const table = slots;
    if ( !table )
        return;
    const uintptr_t place = (uintptr_t)__builtin_return_address( 0 );
    size_t at = ( place * 0x9E3779B97F4A7C15u ) >> 46;
    for ( int tries = 0; tries < 64; ++tries, at = ( at + 1 ) % Slots )
    {
        uintptr_t there = atomic_load_explicit( &table[at], memory_order_relaxed );
        if ( there == place )
            return;
        if ( there == 0 && ( atomic_compare_exchange_strong( &table[at], &there, place ) || there == place ) )
            return;
    }
}
