#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include <VXMesh/formats/ReaderProcess.h>
#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXMesh/system/FileView.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fstream>
#include <map>
#include <thread>

using namespace VX;
using namespace std::chrono_literals;
using VX::Testing::ScratchFolder;

namespace
{

constexpr const char* cGaveUp = "Cannot read \"part.obj\": its reader gave up; the file may be damaged";

/// A reader that is a shell script.
class ScriptedReader
{
public:
    explicit ScriptedReader( const std::string& script )
        : program_( folder_.write( "reader", "#!/bin/sh\ncd " + folder_.path().string() + "\n" + script ) )
    {
        std::filesystem::permissions( program_, std::filesystem::perms::owner_all );
    }

    tl::expected<LoadedObjects, std::string> read( const ProgressCallback& progress = {} ) const
    {
        return readInProcess( program_, "/models/part.obj", progress );
    }

    std::string error( const ProgressCallback& progress = {} ) const
    {
        const auto loaded = read( progress );
        return loaded ? "" : loaded.error();
    }

    const ScratchFolder& folder() const { return folder_; }

private:
    ScratchFolder folder_;
    std::filesystem::path program_;
};

std::string sceneBytes()
{
    const auto object = std::make_shared<ObjectMesh>();
    object->setMesh( std::make_shared<Mesh>( Testing::cube() ) );
    const std::shared_ptr<Object> root = object;
    const auto bytes = writeVxu( { &root, 1 } ).value();
    return { reinterpret_cast<const char*>( bytes.data() ), bytes.size() };
}

bool isGone( pid_t pid )
{
    return ::kill( pid, 0 ) != 0 && errno == ESRCH;
}

} // namespace

TEST( ReaderProcess, HandsOverAScene )
{
    const auto bytes = sceneBytes();
    const ScriptedReader reader( "echo scene " + std::to_string( bytes.size() ) + "\ncat scene" );
    reader.folder().write( "scene", bytes );
    const auto loaded = reader.read();
    ASSERT_TRUE( loaded ) << loaded.error();
    ASSERT_EQ( loaded->objects.size(), 1u );
    EXPECT_NE( dynamic_cast<const ObjectMesh*>( loaded->objects[0].get() ), nullptr );
}

TEST( ReaderProcess, GetsThePathAsItIs )
{
    const ScriptedReader reader( "printf '%s' \"$1\" > path; echo error no" );
    EXPECT_FALSE( reader.read() );
    std::ifstream in( reader.folder().path() / "path" );
    EXPECT_EQ( std::string( std::istreambuf_iterator<char>( in ), {} ), "/models/part.obj" );
}

TEST( ReaderProcess, ReportsItsErrorWithTheNameOfTheFile )
{
    EXPECT_EQ( ScriptedReader( "echo error line 7 is odd" ).error(), "Cannot read \"part.obj\": line 7 is odd" );
}

TEST( ReaderProcess, ShowsNothingOfAnErrorThatCannotBePrinted )
{
    EXPECT_EQ( ScriptedReader( R"(printf 'error a\033[2Jb\001\377c\n')" ).error(), "Cannot read \"part.obj\": a[2Jbc" );
    const auto error = ScriptedReader( "printf 'error '; head -c 900 /dev/zero | tr '\\0' x; echo" ).error();
    EXPECT_EQ( std::count( error.begin(), error.end(), 'x' ), 300 );
}

TEST( ReaderProcess, WordsThatAreNotAgreedOnEndIt )
{
    for ( const char* words : { "hello", "", "scene", "scene -1", "scene 12x", "scene 99999999999", "error",
              "scene 5 5", "progress", "progress x" } )
        EXPECT_EQ( ScriptedReader( "echo '" + std::string( words ) + "'" ).error(), cGaveUp ) << words;
}

TEST( ReaderProcess, ALineWithoutEndEndsIt )
{
    EXPECT_EQ( ScriptedReader( "cat /dev/zero" ).error(), cGaveUp );
}

TEST( ReaderProcess, AnEndWithoutAWordIsAnError )
{
    EXPECT_EQ( ScriptedReader( "exit 0" ).error(), cGaveUp );
    EXPECT_EQ( ScriptedReader( "kill -SEGV $$" ).error(), cGaveUp );
    EXPECT_EQ( ScriptedReader( "echo progress 0.5; kill -ABRT $$" ).error(), cGaveUp );
}

TEST( ReaderProcess, ASceneThatIsCutOffIsAnError )
{
    EXPECT_EQ( ScriptedReader( "echo scene 4000000000; echo glTF" ).error(), cGaveUp );
}

TEST( ReaderProcess, AHostileSceneIsAnError )
{
    const auto error = ScriptedReader( "echo scene 20; printf 'glTF0123456789abcdef'" ).error();
    EXPECT_TRUE( error.starts_with( "Cannot read \"part.obj\": " ) ) << error;
    EXPECT_FALSE( ScriptedReader( "echo scene 0" ).error().empty() );
}

TEST( ReaderProcess, ProgressNeverRunsBackOrOver )
{
    std::vector<float> seen;
    const auto collect = [&]( float f )
    {
        seen.push_back( f );
        return true;
    };
    // Each value often enough that some reading of the pipe ends with it.
    const ScriptedReader reader(
        "for f in 0.2 0.5 0.1 nan 7 -1; do yes progress $f | head -n 2000; done; echo error no" );
    EXPECT_EQ( reader.error( collect ), "Cannot read \"part.obj\": no" );
    EXPECT_GT( seen.size(), 6u );
    EXPECT_TRUE( std::none_of( seen.begin(), seen.end(), []( float f ) { return std::isnan( f ); } ) );
    EXPECT_TRUE( std::is_sorted( seen.begin(), seen.end() ) );
    EXPECT_GE( seen.front(), 0 );
    EXPECT_LE( seen.back(), 1 );
}

TEST( ReaderProcess, IsKilledWhenItHangsAndNobodyWantsItAnyMore )
{
    const ScriptedReader reader( "echo $$ > pid; echo progress 0.5; while :; do :; done" );
    const auto untilHalf = []( float f ) { return f < 0.4f; };
    EXPECT_EQ( reader.error( untilHalf ), cOperationCanceled );
    std::ifstream in( reader.folder().path() / "pid" );
    pid_t pid = 0;
    ASSERT_TRUE( in >> pid );
    EXPECT_TRUE( isGone( pid ) );
}

TEST( ReaderProcess, SaysThatItIsMissing )
{
    const auto loaded = readInProcess( "/nowhere/reader", "/models/part.obj", {} );
    ASSERT_FALSE( loaded );
    EXPECT_EQ(
        loaded.error(), "Cannot read \"part.obj\": \"/nowhere/reader\" cannot be started: No such file or directory" );
}

TEST( ReaderProcess, TheOneOfTheLibraryReadsNamesOfAllKinds )
{
    const ScratchFolder folder;
    for ( const std::string name : { "a b.obj", "ü \"quoted\" 'it'.obj", "-n.obj", "100%s $HOME.obj" } )
    {
        const auto file = folder.write( name, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n" );
        const auto loaded = readInProcess( readerProgram(), file, {} );
        ASSERT_TRUE( loaded ) << loaded.error();
        EXPECT_EQ( loaded->objects.at( 0 )->name(), name.substr( 0, name.size() - 4 ) );
    }
}

TEST( ReaderProcess, TheOneOfTheLibraryReadsWhatLiesBesideItsFileAndNothingElse )
{
    if ( !canNarrowFiles() )
        GTEST_SKIP() << "this kernel cannot hide files";
    const ScratchFolder own, other;
    const float points[] = { 0, 0, 0, 1, 0, 0, 0, 1, 0 };
    const std::string bytes( reinterpret_cast<const char*>( points ), sizeof points );
    const auto strange = other.write( "strange.bin", bytes );
    own.write( "own.bin", bytes );
    const auto error = [&]( const std::string& buffer )
    {
        const auto file = own.write( "part.gltf",
            R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":[{"mesh":0}],"meshes":[{"primitives":)"
            R"([{"attributes":{"POSITION":0}}]}],"accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":)"
            R"("VEC3","min":[0,0,0],"max":[1,1,0]}],"bufferViews":[{"buffer":0,"byteLength":36}],"buffers":[)"
            R"({"byteLength":36,"uri":")" +
                buffer + R"("}]})" );
        const auto loaded = readInProcess( readerProgram(), file, {} );
        return loaded ? "" : loaded.error();
    };
    EXPECT_EQ( error( "own.bin" ), "" );
    EXPECT_NE( error( "../" + other.path().filename().string() + "/strange.bin" ), "" );
    EXPECT_NE( error( strange.string() ), "" );
    std::filesystem::create_symlink( strange, own.path() / "link.bin" );
    EXPECT_NE( error( "link.bin" ), "" );
}

TEST( ReaderProcess, TheOneOfTheLibraryFollowsALinkToItsFile )
{
    const ScratchFolder own, other;
    const auto link = own.path() / "link.obj";
    std::filesystem::create_symlink( other.write( "a.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n" ), link );
    const auto loaded = readInProcess( readerProgram(), link, {} );
    EXPECT_TRUE( loaded ) << loaded.error();
}

TEST( ReaderProcess, TheOneOfTheLibraryStopsAtOnceOnALargeFile )
{
    const ScratchFolder folder;
    std::string text;
    for ( int i = 0; i < 300'000; ++i )
        text += "v " + std::to_string( i ) + " 0 1\n";
    for ( int i = 1; i < 300'000 - 2; ++i )
        text += "f " + std::to_string( i ) + " " + std::to_string( i + 1 ) + " " + std::to_string( i + 2 ) + "\n";
    const auto loaded =
        readInProcess( readerProgram(), folder.write( "large.obj", text ), []( float f ) { return f < 0.01f; } );
    ASSERT_FALSE( loaded );
    EXPECT_EQ( loaded.error(), cOperationCanceled );
}

TEST( ReaderProcess, ManyReadAtOnce )
{
    const ScratchFolder folder;
    const auto file = folder.write( "a.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n" );
    std::atomic<int> read = 0;
    {
        std::vector<std::jthread> threads;
        for ( int i = 0; i < 8; ++i )
            threads.emplace_back( [&] { read += readInProcess( readerProgram(), file, {} ) ? 1 : 0; } );
    }
    EXPECT_EQ( read, 8 );
}

TEST( ReaderProcess, TransparencyOfAMaterialIsKept )
{
    const ScratchFolder folder;
    folder.write( "glass.mtl", "newmtl glass\nKd 0.2 0.4 1\nd 0.5\nnewmtl steel\nKd 0.5 0.5 0.5\n" );
    const auto file = folder.write( "glass.obj", "mtllib glass.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n"
                                                 "o pane\nusemtl glass\nf 1 2 3\no rod\nusemtl steel\nf 1 2 4\n" );
    const auto loaded = readInProcess( readerProgram(), file, {} );
    ASSERT_TRUE( loaded ) << loaded.error();
    std::map<std::string, int> alpha;
    for ( const auto& root : loaded->objects )
        forEachObject( *root,
            [&]( const Object& object )
            {
                if ( const auto* visual = dynamic_cast<const VisualObject*>( &object ) )
                    alpha[object.name()] = visual->color().a;
            } );
    EXPECT_EQ( alpha, ( std::map<std::string, int>{ { "pane", 128 }, { "rod", 255 } } ) );
}
