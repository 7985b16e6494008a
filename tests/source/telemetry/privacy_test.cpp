#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <sstream>

using namespace VX;

namespace
{

const std::filesystem::path cRoot = std::filesystem::path( ORVANTA_TEST_DATA ).parent_path();

/// The page as one line, however it is wrapped.
std::string page()
{
    std::istringstream words( Testing::readFile( cRoot / "PRIVACY.md" ) );
    std::string out;
    for ( std::string word; words >> word; )
        out += word + ' ';
    return out;
}

/// The names of actions as the program sends them, without what varies in them.
std::vector<std::string> actionNames()
{
    std::istringstream source( Testing::readFile( cRoot / "source/telemetry/ActionNames.h" ) );
    std::vector<std::string> out;
    for ( std::string line; std::getline( source, line ); )
    {
        const auto from = line.find( " = \"" ), to = line.rfind( "\";" );
        if ( line.find( "const char* c" ) == std::string::npos || from == std::string::npos || to == std::string::npos )
            continue;
        auto name = line.substr( from + 4, to - from - 4 );
        std::erase( name, '\\' );
        out.push_back( name.substr( 0, name.find( "{}" ) ) );
    }
    return out;
}

} // namespace

TEST( PrivacyPage, ListsEveryNameOfAnAction )
{
    const auto text = page();
    const auto names = actionNames();
    EXPECT_GT( names.size(), 15u );
    for ( const auto& name : names )
        EXPECT_NE( text.find( "\"" + name + "\"" ), std::string::npos ) << name;
}

TEST( PrivacyPage, SendsNobodyToASourceFile )
{
    std::istringstream words( page() );
    for ( std::string word; words >> word; )
        for ( const char* ending : { ".h", ".cpp", ".py" } )
        {
            const auto at = word.find( ending );
            EXPECT_TRUE( at == std::string::npos || std::isalnum( word[at + std::strlen( ending )] ) ) << word;
        }
}
