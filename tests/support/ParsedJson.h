#pragma once

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <string>

namespace VX::Testing
{

/// The value that a text of the test's own stands for.
[[nodiscard]] inline Json::Value json( const std::string& text )
{
    auto value = deserializeJsonValue( text );
    EXPECT_TRUE( value ) << text << ": " << value.error();
    return value.value_or( Json::Value() );
}

} // namespace VX::Testing
