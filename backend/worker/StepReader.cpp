#include "worker/StepReader.h"

#include "worker/ShareProcess.h"
#include "worker/StepDocument.h"

#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Standard_Failure.hxx>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <tuple>

namespace VX::Backend
{
namespace
{

constexpr const char* cHealing = R"(FromSTEP.exec.op : FixShape
FromSTEP.FixShape.Tolerance3d : &Runtime.Tolerance
FromSTEP.FixShape.MaxTolerance3d : &Runtime.MaxTolerance
FromSTEP.FixShape.MinTolerance3d : 1.e-7
)";
// Healing that looks for self-intersections takes up to a fifth of the time and has not changed a triangle of the files
// it was compared on; switching all of it off would lose most faces of some.
constexpr const char* cLess = R"(FromSTEP.FixShape.FixLoopWiresMode : 0
FromSTEP.FixShape.FixSelfIntersectionMode : 0
FromSTEP.FixShape.FixSelfIntersectingEdgeMode : 0
FromSTEP.FixShape.FixIntersectingEdgesMode : 0
FromSTEP.FixShape.FixNonAdjacentIntersectingEdgesMode : 0
)";

void configure( const std::filesystem::path& scratch, bool allHealing )
{
    std::ofstream( scratch / "STEP" ) << cHealing << ( allHealing ? "" : cLess );
    ::setenv( "CSF_STEPDefaults", scratch.c_str(), 1 );
    Message::DefaultMessenger()->ChangePrinters().Clear();
}

std::string tail( std::ifstream& in, std::streamoff size )
{
    constexpr std::streamoff cTail = 64 * 1024;
    in.clear();
    in.seekg( std::max<std::streamoff>( 0, size - cTail ) );
    return { std::istreambuf_iterator<char>( in ), {} };
}

/// What a look at the head and the tail of a file tells; empty when it may be a STEP file.
std::string quickProblem( const std::filesystem::path& file )
{
    std::ifstream in( file, std::ios::binary );
    std::error_code ec;
    const auto size = std::streamoff( std::filesystem::file_size( file, ec ) );
    if ( ec || !in )
        return "The uploaded file cannot be read";
    if ( size == 0 )
        return "The file is empty";
    std::string head( 4096, '\0' );
    in.read( head.data(), std::streamsize( head.size() ) );
    if ( head.find( "ISO-10303-21" ) == std::string::npos )
        return "This is not a STEP file";
    if ( tail( in, size ).find( "END-ISO-10303-21" ) == std::string::npos )
        return "The STEP file is cut off: its end is missing";
    return {};
}

/// In numbers that may be handed to another process.
struct Extent
{
    std::array<double, 3> min, max;
    bool empty = true;

    void add( const Extent& other )
    {
        if ( other.empty )
            return;
        for ( size_t i = 0; i < 3; ++i )
        {
            min[i] = empty ? other.min[i] : std::min( min[i], other.min[i] );
            max[i] = empty ? other.max[i] : std::max( max[i], other.max[i] );
        }
        empty = false;
    }
    [[nodiscard]] double deflection( const StepOptions& options ) const
    {
        return std::max( { max[0] - min[0], max[1] - min[1], max[2] - min[2], 1e-6 } ) * options.deflection;
    }
};

Extent extentOf( const StepDocument& document )
{
    Extent out{};
    const Bnd_Box box = document.box();
    out.empty = box.IsVoid();
    if ( !out.empty )
        box.Get( out.min[0], out.min[1], out.min[2], out.max[0], out.max[1], out.max[2] );
    return out;
}

// Parts of the whole time that have passed after each stage, as measured on files of 3 to 9 MB.
constexpr float cRead = 0.2f, cTransferred = 0.8f, cTessellated = 0.95f;

void tell( const StepOptions& options, float done )
{
    if ( options.progress )
        options.progress( done );
}

std::filesystem::path fileOfShare( const std::filesystem::path& scratch, int share )
{
    return scratch / ( "share" + std::to_string( share ) );
}

/// The work of a process that was forked after the file was read. It just ends where it cannot go on.
void convertShare( ShareLink& link, StepDocument& document, FaceShares& shares, int share,
    const std::filesystem::path& result, const StepOptions& options )
{
    shares.keepOnly( share );
    if ( !document.transfer() )
        return;
    const auto roles = shares.roles();
    if ( !roles || !link.send( extentOf( document ) ) )
        return;
    const auto whole = link.receive<Extent>();
    if ( !whole )
        return;
    document.tessellate( whole->deflection( options ), options.angle, false );
    std::ofstream out( result, std::ios::binary );
    write( out, document.meshes( *roles ) );
    out.close();
    if ( out )
        std::ignore = link.send( true );
}

/// The file's parts with every process's share of them; nothing where some did not get through, or where healing has
/// judged a shell by a half of it.
std::optional<PartMeshes> convertInShares(
    StepDocument& document, FaceShares& shares, const std::filesystem::path& scratch, const StepOptions& options )
{
    std::vector<ShareLink> links;
    for ( int i = 1; i < shares.count(); ++i )
    {
        auto link = startShare(
            [&]( ShareLink& l ) { convertShare( l, document, shares, i, fileOfShare( scratch, i ), options ); } );
        if ( !link )
            return {};
        links.push_back( std::move( *link ) );
    }
    shares.keepOnly( 0 );
    const auto transferred = document.transfer();
    const auto roles = shares.roles();
    if ( !transferred || !roles )
        return {};
    Extent whole = extentOf( document );
    for ( auto& link : links )
    {
        const auto extent = link.receive<Extent>();
        if ( !extent )
            return {};
        whole.add( *extent );
    }
    for ( auto& link : links )
        if ( !link.send( whole ) )
            return {};
    tell( options, cTransferred );
    document.tessellate( whole.deflection( options ), options.angle, true );
    tell( options, cTessellated );
    auto parts = document.meshes( *roles );
    for ( int i = 1; i < shares.count(); ++i )
    {
        PartMeshes others;
        if ( !links[size_t( i ) - 1].receive<bool>() )
            return {};
        std::ifstream in( fileOfShare( scratch, i ), std::ios::binary );
        if ( !read( in, others ) || !join( parts, others ) )
            return {};
    }
    // A whole closed shell would have been turned right side out.
    if ( std::any_of( parts.begin(), parts.end(), []( const auto& part ) { return part.second.cutVolume < 0; } ) )
        return {};
    return parts;
}

tl::expected<PartMeshes, std::string> convertWhole( StepDocument& document, const StepOptions& options )
{
    if ( auto transferred = document.transfer(); !transferred )
        return tl::unexpected( std::move( transferred.error() ) );
    tell( options, cTransferred );
    const Extent extent = extentOf( document );
    if ( !extent.empty )
        document.tessellate( extent.deflection( options ), options.angle, true );
    tell( options, cTessellated );
    return document.meshes( {} );
}

tl::expected<std::vector<std::shared_ptr<Object>>, std::string> convert(
    const std::filesystem::path& file, const std::filesystem::path& scratch, const StepOptions& options )
{
    StepDocument document;
    if ( auto read = document.read( file ); !read )
        return tl::unexpected( std::move( read.error() ) );
    tell( options, cRead );
    FaceShares shares( document.session(), options.processes, options.leastShare );
    if ( shares.count() > 1 )
    {
        if ( const auto parts = convertInShares( document, shares, scratch, options ) )
            return document.objects( *parts );
        // What went wrong is for the whole file to say, if it goes wrong with that too.
        StepOptions alone = options;
        alone.processes = 1;
        return convert( file, scratch, alone );
    }
    const auto parts = convertWhole( document, options );
    if ( !parts )
        return tl::unexpected( parts.error() );
    return document.objects( *parts );
}

} // namespace

void warmUpStepReader( const std::filesystem::path& scratch )
{
    configure( scratch, false );
    const StepDocument document;
}

tl::expected<std::vector<std::shared_ptr<Object>>, std::string> readStep(
    const std::filesystem::path& file, const std::filesystem::path& scratch, const StepOptions& options )
{
    if ( auto problem = quickProblem( file ); !problem.empty() )
        return tl::unexpected( std::move( problem ) );
    configure( scratch, options.allHealing );
    try
    {
        auto objects = convert( file, scratch, options );
        if ( objects && objects->empty() )
            return tl::unexpected( std::string( "The STEP file holds no solids or surfaces" ) );
        return objects;
    }
    catch ( const Standard_Failure& failure )
    {
        return tl::unexpected( std::string( "The STEP file cannot be converted: " ) + failure.GetMessageString() );
    }
    catch ( const std::exception& e )
    {
        return tl::unexpected( std::string( "The STEP file cannot be converted: " ) + e.what() );
    }
}

} // namespace VX::Backend
