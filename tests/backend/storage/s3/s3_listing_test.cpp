#include "storage/s3/S3Listing.h"

#include <gtest/gtest.h>

using namespace VX::Backend;

namespace
{

std::string listing( const std::string& inside )
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ListBucketResult "
           "xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"><Name>orvanta</Name>" +
           inside + "</ListBucketResult>";
}

const std::string cObject = "<Contents><Key>uploads/a&amp;b</Key><LastModified>2026-11-23T08:19:50.000Z</LastModified>"
                            "<ETag>\"x\"</ETag><Size>1234567890123</Size></Contents>";

std::string problemOf( const std::string& xml )
{
    const auto read = readListing( xml );
    return read ? "" : read.error();
}

} // namespace

TEST( S3Listing, HasKeySizeAndTimeOfEachObject )
{
    const auto read = readListing( listing( "<IsTruncated>false</IsTruncated>" + cObject + cObject ) ).value();
    ASSERT_EQ( read.objects.size(), 2u );
    EXPECT_EQ( read.objects[1].key, "uploads/a&b" );
    EXPECT_EQ( read.objects[1].size, 1'234'567'890'123u );
    EXPECT_EQ( read.objects[1].written, std::chrono::sys_seconds( std::chrono::seconds( 1'795'421'990 ) ) );
    EXPECT_EQ( read.next, "" );
    EXPECT_TRUE( readListing( listing( "" ) ).value().objects.empty() );
}

TEST( S3Listing, TellsWhereItGoesOn )
{
    const std::string next = "<NextContinuationToken>token=</NextContinuationToken>";
    EXPECT_EQ( readListing( listing( "<IsTruncated>true</IsTruncated>" + next ) ).value().next, "token=" );
    for ( const auto& half : { std::string( "<IsTruncated>true</IsTruncated>" ), next } )
        EXPECT_EQ( problemOf( listing( half ) ), "it does not tell how it goes on" );
}

TEST( S3Listing, WhatIsNoListingIsSaidToBeNone )
{
    for ( const std::string xml : { "", "x", "<html></html>", "<ListBucketResult>", "<ListBucketResult/><" } )
        EXPECT_EQ( problemOf( xml ), "it is no listing" ) << xml;
    for ( const auto& [from, to] : { std::pair<std::string, std::string>{ "uploads/a&amp;b", "" },
              { "1234567890123", "-1" }, { "1234567890123", "12x" }, { "1234567890123", "99999999999999999999" },
              { "2026-11-23T", "2026-11-23 " }, { ".000Z", "" }, { "2026-11", "2026-13" } } )
    {
        auto object = cObject;
        object.replace( object.find( from ), from.size(), to );
        EXPECT_EQ( problemOf( listing( object ) ), "an object has no key, size or time" ) << object;
    }
}

TEST( S3Listing, AnErrorHasACode )
{
    EXPECT_EQ( errorCodeOf( "<?xml version='1.0'?><Error><Code>NoSuchKey</Code></Error>" ), "NoSuchKey" );
    for ( const char* text : { "", "no", "<Error/>", "<Other><Code>x</Code></Other>" } )
        EXPECT_EQ( errorCodeOf( text ), "" ) << text;
}
