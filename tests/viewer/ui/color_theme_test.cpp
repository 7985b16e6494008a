#include <VXMesh/io/Json.h>
#include <VXViewer/ui/ColorTheme.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace VX;

namespace
{

class ColorThemes : public testing::Test
{
protected:
    ~ColorThemes() override { ColorTheme::setupPreset( ColorTheme::Preset::Dark ); }
    static std::string refusal( const std::string& text )
    {
        const auto set = ColorTheme::setup( *deserializeJsonValue( text ) );
        return set ? "" : set.error();
    }
};

/// Relative luminance and contrast as the Web Content Accessibility Guidelines define them.
double luminance( Color c )
{
    const auto linear = []( uint8_t v )
    {
        const double s = v / 255.;
        return s <= 0.03928 ? s / 12.92 : std::pow( ( s + 0.055 ) / 1.055, 2.4 );
    };
    return 0.2126 * linear( c.r ) + 0.7152 * linear( c.g ) + 0.0722 * linear( c.b );
}

double contrast( ColorTheme::RibbonColorsType a, ColorTheme::RibbonColorsType b )
{
    const double x = luminance( ColorTheme::getRibbonColor( a ) ), y = luminance( ColorTheme::getRibbonColor( b ) );
    return ( std::max( x, y ) + 0.05 ) / ( std::min( x, y ) + 0.05 );
}

} // namespace

TEST_F( ColorThemes, EveryTextIsLegibleInBothPresets )
{
    for ( const auto preset : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( preset );
        for ( const auto background : { ColorTheme::Background, ColorTheme::TopPanelBackground,
                  ColorTheme::DialogBackground, ColorTheme::FrameBackground, ColorTheme::Button } )
        {
            EXPECT_GT( contrast( ColorTheme::Text, background ), 7 )
                << ColorTheme::getPresetName( preset ) << " " << background;
            EXPECT_GT( contrast( ColorTheme::DimText, background ), 2.9 )
                << ColorTheme::getPresetName( preset ) << " " << background;
        }
        EXPECT_GT( contrast( ColorTheme::AccentText, ColorTheme::Accent ), 3 );
    }
}

TEST_F( ColorThemes, TellsOfEachChange )
{
    int changes = 0;
    const boost::signals2::scoped_connection connection = ColorTheme::onChanged( [&] { ++changes; } );
    ColorTheme::setupPreset( ColorTheme::Preset::Light );
    EXPECT_EQ( refusal( R"({"Name":"Sea"})" ), "" );
    EXPECT_EQ( changes, 2 );
}

TEST_F( ColorThemes, TakesAUsersThemeOverItsBase )
{
    EXPECT_EQ( refusal( R"({"Name":"Sea","Base":"Light","Ribbon":{"Accent":"#3060a0"},
        "Viewport":{"ViewportTop":"#01020304"}})" ),
        "" );
    EXPECT_EQ( ColorTheme::getThemeType(), ColorTheme::Type::User );
    EXPECT_EQ( ColorTheme::getUserThemeName(), "Sea" );
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Light );
    EXPECT_EQ( ColorTheme::getRibbonColor( ColorTheme::Accent ), ( Color{ 0x30, 0x60, 0xa0, 255 } ) );
    EXPECT_EQ( ColorTheme::getViewportColor( ColorTheme::ViewportTop ), ( Color{ 1, 2, 3, 4 } ) );
    const auto text = ColorTheme::getRibbonColor( ColorTheme::Text );
    ColorTheme::setupPreset( ColorTheme::Preset::Light );
    EXPECT_EQ( ColorTheme::getRibbonColor( ColorTheme::Text ), text );
    EXPECT_EQ( ColorTheme::getThemeType(), ColorTheme::Type::Preset );
}

TEST_F( ColorThemes, NamesWhatIsWrongAndStaysAsItWas )
{
    ColorTheme::setupPreset( ColorTheme::Preset::Light );
    EXPECT_EQ( refusal( R"("Blue")" ), "There is no theme \"Blue\"" );
    EXPECT_EQ( refusal( "[]" ), "The theme is not an object" );
    EXPECT_EQ( refusal( R"({"Base":"Blue"})" ), "The theme's \"Base\" is not the name of a preset" );
    EXPECT_EQ( refusal( R"({"Ribbon":5})" ), "The theme's \"Ribbon\" is not an object" );
    EXPECT_EQ( refusal( R"({"Ribbon":{"Accents":"#000000"}})" ), "The theme has no colour \"Accents\" in \"Ribbon\"" );
    for ( const char* color :
        { "\"\"", "\"#12345\"", "\"#1234567\"", "\"#12345g\"", "\"123456#\"", "7", "\"#-12345\"" } )
        EXPECT_EQ( refusal( std::string( R"({"Ribbon":{"Accent":)" ) + color + "}}" ),
            "The theme's colour \"Accent\" is not of the form \"#rrggbb\"" )
            << color;
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Light );
    EXPECT_EQ( ColorTheme::getThemeType(), ColorTheme::Type::Preset );
}

TEST_F( ColorThemes, HasANameForEveryColour )
{
    EXPECT_EQ( ColorTheme::ribbonColorNames().size(), size_t( ColorTheme::RibbonColorsCount ) );
    EXPECT_EQ( ColorTheme::ribbonColorNames()[ColorTheme::DialogBackground], "DialogBackground" );
    EXPECT_EQ( ColorTheme::ribbonColorNames()[ColorTheme::Text], "Text" );
    EXPECT_EQ( int( ColorTheme::DialogBackground ), 2 );
    EXPECT_EQ( int( ColorTheme::Text ), 12 );
}
