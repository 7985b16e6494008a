#include "metrics/Exposition.h"
#include "support/service/ExposedFigures.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;
using namespace std::chrono_literals;
using Testing::ExposedFigures;

namespace
{

std::string faultIn( const std::string& text )
{
    const auto read = ExposedFigures::read( text );
    return read ? std::string() : read.error();
}

const std::string cHead = "# HELP a_seconds Help.\n# TYPE a_seconds histogram\n";

} // namespace

TEST( Exposition, IsWhatAStrictReaderTakes )
{
    Histogram histogram( { .01, .5, 2 } );
    histogram.add( 10ms );
    histogram.add( 11ms );
    histogram.add( 3s );
    histogram.add( -1s );
    Exposition out;
    out.counter( "asked_total", "How often." );
    out.add( 12, { { "who", "a\"b\\c\nd" } } );
    out.gauge( "left_bytes", "How much." );
    out.add( .25 );
    out.histogram( "took_seconds", "How long." );
    out.add( histogram, { { "by", "x" } } );
    EXPECT_EQ( out.text(), "# HELP asked_total How often.\n"
                           "# TYPE asked_total counter\n"
                           "asked_total{who=\"a\\\"b\\\\c\\nd\"} 12\n"
                           "# HELP left_bytes How much.\n"
                           "# TYPE left_bytes gauge\n"
                           "left_bytes 0.25\n"
                           "# HELP took_seconds How long.\n"
                           "# TYPE took_seconds histogram\n"
                           "took_seconds_bucket{by=\"x\",le=\"0.01\"} 2\n"
                           "took_seconds_bucket{by=\"x\",le=\"0.5\"} 3\n"
                           "took_seconds_bucket{by=\"x\",le=\"2\"} 3\n"
                           "took_seconds_bucket{by=\"x\",le=\"+Inf\"} 4\n"
                           "took_seconds_sum{by=\"x\"} 3.021\n"
                           "took_seconds_count{by=\"x\"} 4\n" );
    EXPECT_EQ( faultIn( out.text() ), "" );
}

TEST( Exposition, LargeNumbersKeepTheirDigits )
{
    Exposition out;
    out.gauge( "a", "b" );
    out.add( double( ( uint64_t( 1 ) << 53 ) - 1 ) );
    EXPECT_TRUE( out.text().ends_with( "a 9007199254740991\n" ) ) << out.text();
}

TEST( Exposition, TheReaderOfTheTestsIsStrict )
{
    const std::string gauge = "# HELP a b\n# TYPE a gauge\n";
    EXPECT_EQ( faultIn( gauge + "a 1\n" ), "" );
    for ( const auto& text :
        { gauge + "a 1", gauge + "a  1\n", gauge + "a one\n", gauge + "b 1\n", gauge + "a 1\na 1\n",
            gauge + "a{x=1} 1\n", gauge + "a{x=\"1} 1\n", gauge + "a{x=\"\\t\"} 1\n", gauge + "\n",
            gauge + "a 1\n" + gauge, std::string( "# TYPE a gauge\na 1\n" ), std::string( "# HELP a b\na 1\n" ),
            std::string( "# HELP a b\n# TYPE a counter\na 1\n" ), std::string( "# HELP 1a b\n# TYPE 1a gauge\n" ),
            std::string( "# HELP a b\n# TYPE a what\n" ), gauge + "# TYPE a gauge\na 1\n" } )
        EXPECT_NE( faultIn( text ), "" ) << text;
    const std::string end = "a_seconds_sum 1\na_seconds_count 2\n";
    EXPECT_EQ( faultIn( cHead + "a_seconds_bucket{le=\"1\"} 1\na_seconds_bucket{le=\"+Inf\"} 2\n" + end ), "" );
    for ( const auto& text : { "a_seconds_bucket{le=\"1\"} 3\na_seconds_bucket{le=\"+Inf\"} 2\n" + end,
              "a_seconds_bucket{le=\"1\"} 1\na_seconds_bucket{le=\"1\"} 2\n" + end,
              "a_seconds_bucket{le=\"2\"} 1\na_seconds_bucket{le=\"1\"} 1\na_seconds_bucket{le=\"+Inf\"} 2\n" + end,
              "a_seconds_bucket{le=\"1\"} 2\n" + end, "a_seconds_bucket{le=\"+Inf\"} 3\n" + end,
              std::string( "a_seconds_bucket{le=\"+Inf\"} 2\na_seconds_count 2\n" ) } )
        EXPECT_NE( faultIn( cHead + text ), "" ) << text;
}
