#pragma once

#include "TestPlaces.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace VX::Testing
{

/// Compares a text that people read with one that somebody has read, "tests/NAME"; with ORVANTA_APPROVE in the
/// environment it is approved as it is.
inline void expectApproved( const std::string& text, const std::string& name )
{
    const auto file = std::filesystem::path( ORVANTA_TEST_DATA ) / name;
    if ( std::getenv( "ORVANTA_APPROVE" ) )
    {
        std::filesystem::create_directories( file.parent_path() );
        std::ofstream( file ) << text;
        return;
    }
    std::ostringstream approved;
    approved << std::ifstream( file ).rdbuf();
    EXPECT_EQ( text, approved.str() ) << "See \"Approved pictures and texts\" in docs/testing.md";
}

} // namespace VX::Testing
