#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <regex>

using namespace VX;

namespace
{

const std::filesystem::path cRoot = std::filesystem::path( ORVANTA_TEST_DATA ).parent_path();

/// The page as one line, however it is wrapped.
std::string page()
{
    return std::regex_replace( Testing::readFile( cRoot / "PRIVACY.md" ), std::regex( "\\s+" ), " " );
}

/// The names of actions as the program sends them, without what varies in them.
std::vector<std::string> actionNames()
{
    const auto source = Testing::readFile( cRoot / "source/telemetry/ActionNames.h" );
    const std::regex pattern( "const char\\* c\\w+ = \"(.*)\";" );
    std::vector<std::string> out;
    for ( std::sregex_iterator it( source.begin(), source.end(), pattern ), end; it != end; ++it )
    {
        auto name = std::regex_replace( ( *it )[1].str(), std::regex( R"(\\")" ), "\"" );
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
    EXPECT_FALSE( std::regex_search( page(), std::regex( R"(\.(h|cpp|py)\b)" ) ) );
}
