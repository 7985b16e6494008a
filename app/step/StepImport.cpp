#include "step/StepImport.h"

#include "files/Digest.h"
#include "step/ImportLeftovers.h"
#include "step/ImportRecord.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>
#include <VXOrvanta/converter/ConverterService.h>
#include <VXViewer/work/ProgressBar.h>

#include <chrono>
#include <ctime>
#include <thread>
#include <utility>

namespace VX::App
{
namespace
{

using ConverterService::workingFiles;

constexpr auto cTurnInterval = std::chrono::milliseconds( 100 );

/// The clock by which the kernel dates files, which may be behind the exact one.
int64_t fileClockNow()
{
    timespec now{};
    ::clock_gettime( CLOCK_REALTIME_COARSE, &now );
    return int64_t( now.tv_sec ) * 1'000'000'000 + now.tv_nsec;
}

std::string recordName( const std::filesystem::path& file )
{
    return utf8string( workingFiles( file ).converted.filename() );
}

} // namespace

StepImport::StepImport( std::filesystem::path file )
    : file_( std::move( file ) )
    , converted_( workingFiles( file_ ).converted )
    , name_( recordName( file_ ) )
{
}

bool StepImport::tryBegin()
{
    lock_ = ImportLock::tryTake( name_ );
    return lock_.has_value();
}

std::string StepImport::prepare_( const ProgressCallback& progress )
{
    if ( auto problem = fileProblem( file_ ); !problem.empty() )
        return problem;
    input_ = identityOf( file_ );
    auto digest = fileDigest( file_, progress );
    if ( !digest )
        return digest.error();
    digest_ = std::move( *digest );
    const auto there = lookAt( converted_ );
    const auto known = ImportRecord::find( name_ );
    if ( there && there->isOurs && known && known->converted == there->identity && known->size == input_.size &&
         known->digest == digest_ )
    {
        cached_ = keepPrivate( converted_ );
        return {};
    }
    if ( auto problem = clearWay( converted_, file_ ); !problem.empty() )
        return problem;
    if ( auto problem = clearWay( workingFiles( file_ ).payload, file_ ); !problem.empty() )
        return problem;
    ImportLeftovers::noteImport( file_ );
    begun_ = fileClockNow();
    return {};
}

std::string StepImport::checkConverted_()
{
    const auto identity = keepPrivate( converted_ );
    // A file that was moved here from elsewhere is older than this import.
    const bool good = identity && ( cached_ ? *identity == *cached_ : identity->time >= begun_ );
    if ( !good )
        return strangerText( converted_, file_ );
    // Bytes that changed meanwhile may or may not be those that were sent.
    if ( !cached_ && identityOf( file_ ) == input_ )
        ImportRecord::add( name_, { input_.size, input_.time, digest_, *identity } );
    return {};
}

LoadResult StepImport::finish_( LoadResult result )
{
    if ( result )
    {
        if ( auto problem = checkConverted_(); !problem.empty() )
            result = tl::unexpected( std::move( problem ) );
    }
    else if ( cached_ && result.error() != cOperationCanceled )
        ImportRecord::forget( name_ );
    lock_.reset();
    ImportLeftovers::tidy();
    return result;
}

LoadResult StepImport::run( const ProgressCallback& progress )
{
    if ( auto problem = prepare_( progress ); !problem.empty() )
        return tl::unexpected( std::move( problem ) );
    return finish_( ConverterService::fromStep( file_, progress ) );
}

void StepImport::start( Done done, const ProgressCallback& progress )
{
    if ( auto problem = prepare_( progress ); !problem.empty() )
    {
        lock_.reset();
        return done( tl::unexpected( std::move( problem ) ) );
    }
    ConverterService::fromStep(
        file_, [self = shared_from_this(), done = std::move( done )]( LoadResult result )
        { done( self->finish_( std::move( result ) ) ); }, progress );
}

LoadResult importStep( const std::filesystem::path& file, const ProgressCallback& progress )
{
    StepImport import( file );
    if ( import.tryBegin() )
        return import.run( progress );
    ProgressBar::forceSetTaskName( "Waiting for another import of this name" );
    do
    {
        if ( !reportProgress( progress, 0 ) )
            return tl::unexpected( std::string( cOperationCanceled ) );
        std::this_thread::sleep_for( cTurnInterval );
    } while ( !import.tryBegin() );
    ProgressBar::resetTaskName();
    return import.run( progress );
}

bool isConverted( const std::filesystem::path& file )
{
    const auto there = lookAt( workingFiles( file ).converted );
    const auto known = ImportRecord::find( recordName( file ) );
    if ( !there || !known )
        return false;
    const auto now = identityOf( file );
    return there->isOurs && known->converted == there->identity && known->size == now.size && known->time == now.time;
}

void forgetConversion( const std::filesystem::path& file )
{
    ImportRecord::forget( recordName( file ) );
}

} // namespace VX::App
