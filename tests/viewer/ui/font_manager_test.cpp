#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "support/ui/BareInterface.h"

#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/RibbonFontManager.h>

#include <gtest/gtest.h>
#include <imgui.h>

using namespace VX;
using Type = RibbonFontManager::FontType;
using File = RibbonFontManager::FontFile;

namespace
{

class Fonts : public Testing::BareInterface
{
protected:
    static constexpr size_t cTypes = size_t( Type::Count );
    [[nodiscard]] static ImWchar letter( const char* utf8 )
    {
        unsigned out = 0;
        const auto byte = [utf8]( int i ) { return unsigned( static_cast<unsigned char>( utf8[i] ) ); };
        out = ( byte( 0 ) & 0x0f ) << 12 | ( byte( 1 ) & 0x3f ) << 6 | ( byte( 2 ) & 0x3f );
        return ImWchar( out );
    }
    [[nodiscard]] const ImFont& font( Type type ) const { return *fonts_.getFontByType( type ); }

    RibbonFontManager fonts_;
};

} // namespace

TEST_F( Fonts, ThereAreNoneBeforeTheyAreLoaded )
{
    EXPECT_TRUE( fonts_.isOutdated() );
    EXPECT_EQ( fonts_.getFontByType( Type::Default ), nullptr );
    EXPECT_EQ( RibbonFontManager::getFontByTypeStatic( Type::Big ), nullptr );
}

TEST_F( Fonts, HaveTheirSizesAtEveryScaleInWholePixels )
{
    for ( const float scale : { 1.f, 1.25f, 2.f } )
    {
        fonts_.loadAllFonts( scale );
        EXPECT_FALSE( fonts_.isOutdated() );
        for ( size_t i = 0; i < cTypes; ++i )
            EXPECT_EQ(
                font( Type( i ) ).FontSize, std::round( RibbonFontManager::getFontSizeByType( Type( i ) ) * scale ) )
                << i << " at " << scale;
    }
    fonts_.loadAllFonts( 0.1f );
    EXPECT_EQ( font( Type::Small ).FontSize, 4 ) << "never so small that nothing is left";
}

TEST_F( Fonts, HaveTheLettersOfNamesAndTheGlyphsOfTheInterface )
{
    fonts_.loadAllFonts( 1 );
    for ( const ImWchar name : { 0xe4, 0x159, 0x3bb, 0x43b, 0x2026 } )
        EXPECT_NE( font( Type::Default ).FindGlyphNoFallback( name ), nullptr ) << name;
    EXPECT_EQ( font( Type::Small ).FindGlyphNoFallback( 0x43b ), nullptr ) << "no names are shown in it";
    for ( const char* icon : { Icons::cClose, Icons::cSearch, Icons::cCog, Icons::cHome, Icons::cFile, Icons::cPin,
              Icons::cError, Icons::cDone, Icons::cInfo, Icons::cUp, Icons::cEye, Icons::cEyeSlash, Icons::cWarning,
              Icons::cChevronUp, Icons::cChevronDown, Icons::cFolder, Icons::cFolderOpen, Icons::cCaretDown,
              Icons::cCaretRight, Icons::cKeyboard, Icons::cCube, Icons::cCubes } )
        for ( const auto type : { Type::Default, Type::Small, Type::SemiBold, Type::Icons, Type::Headline } )
            EXPECT_NE( font( type ).FindGlyphNoFallback( letter( icon ) ), nullptr )
                << std::hex << letter( icon ) << " in " << int( type );
}

TEST_F( Fonts, AFileThatIsMissingOrNoFontIsReplacedAndNamed )
{
    const Testing::ScratchFolder folder;
    auto paths = fonts_.getAllFontPaths();
    paths[size_t( File::Regular )] = folder.path() / "missing.otf";
    paths[size_t( File::Monospace )] = folder.write( "text.ttf", "this is a text" );
    paths[size_t( File::Icons )] = folder.write( "empty.ttf", "" );
    fonts_.setNewFontPaths( paths );
    EXPECT_TRUE( fonts_.isOutdated() );
    const Testing::LogCapture log;
    fonts_.loadAllFonts( 1 );
    EXPECT_FALSE( fonts_.isOutdated() );
    for ( const char* name : { "missing.otf", "text.ttf", "empty.ttf" } )
        EXPECT_TRUE( log.contains( std::string( name ) + " is missing or no font" ) ) << name;
    EXPECT_FALSE( log.contains( "Inter-SemiBold" ) );
    for ( size_t i = 0; i < cTypes; ++i )
    {
        EXPECT_NE( font( Type( i ) ).FindGlyphNoFallback( 'x' ), nullptr ) << i;
        EXPECT_EQ( font( Type( i ) ).FontSize, RibbonFontManager::getFontSizeByType( Type( i ) ) ) << i;
    }
    EXPECT_EQ( font( Type::SemiBold ).FindGlyphNoFallback( letter( Icons::cClose ) ), nullptr );
}

TEST_F( Fonts, ABrokenFontLeavesTheInterfaceWithLetters )
{
    const Testing::ScratchFolder folder;
    auto paths = fonts_.getAllFontPaths();
    paths[size_t( File::Regular )] = folder.write( "broken.otf", "OTTO and then nothing of a font" );
    fonts_.setNewFontPaths( paths );
    const Testing::LogCapture log;
    fonts_.loadAllFonts( 2 );
    EXPECT_TRUE( log.contains( "error: The fonts cannot be rasterised" ) ) << log.text();
    for ( size_t i = 0; i < cTypes; ++i )
        EXPECT_NE( font( Type( i ) ).FindGlyphNoFallback( 'x' ), nullptr ) << i;
}

TEST_F( Fonts, LoadedAheadAreTakenForTheSameScaleAndFilesOnly )
{
    fonts_.loadAhead( 1.5f );
    fonts_.finishAhead();
    const ImFontAtlas* own = ImGui::GetIO().Fonts;
    fonts_.loadAllFonts( 1.5f );
    EXPECT_NE( ImGui::GetIO().Fonts, own ) << "the atlas that was made ahead";
    EXPECT_EQ( font( Type::Default ).FontSize, 23 );
    const ImFontAtlas* ahead = ImGui::GetIO().Fonts;
    fonts_.loadAllFonts( 1.5f );
    EXPECT_EQ( ImGui::GetIO().Fonts, ahead ) << "made anew where it is";
    fonts_.loadAhead( 1 );
    fonts_.loadAllFonts( 2 );
    EXPECT_EQ( font( Type::Default ).FontSize, 30 ) << "the window has come up on another screen";
    fonts_.loadAhead( 1 );
    auto paths = fonts_.getAllFontPaths();
    paths[size_t( File::Regular )] = paths[size_t( File::Monospace )];
    fonts_.setNewFontPaths( paths );
    fonts_.loadAllFonts( 1 );
    const auto& mono = font( Type::Default );
    EXPECT_EQ( mono.GetCharAdvance( 'i' ), mono.GetCharAdvance( 'W' ) ) << "the files have changed meanwhile";
}

TEST_F( Fonts, AScopeHasItsFaceAndLeavesTheFormer )
{
    fonts_.loadAllFonts( 1 );
    draw = [&]
    {
        const ImFont* before = ImGui::GetFont();
        {
            const FontScope headline( Type::Headline );
            EXPECT_EQ( ImGui::GetFont(), &font( Type::Headline ) );
        }
        EXPECT_EQ( ImGui::GetFont(), before );
    };
    frames( 1 );
    const RibbonFontManager later;
    draw = []
    {
        const ImFont* before = ImGui::GetFont();
        const FontScope headline( Type::Headline );
        EXPECT_EQ( ImGui::GetFont(), before ) << "those of the manager in use are not loaded";
    };
    frames( 1 );
}
