#include "support/ApprovedText.h"

#include "identity/CodeMail.h"

#include <algorithm>
#include <cctype>

using namespace VX;
using namespace VX::Backend;

TEST( CodeMails, AreInTheseWords )
{
    std::string all;
    for ( const auto purpose : { CodePurpose::SignUp, CodePurpose::Reset } )
    {
        const auto mail = codeMail( "ann@example.org", "012345", purpose );
        EXPECT_EQ( mail.to, "ann@example.org" );
        all += mail.subject + "\n\n" + mail.text + "\n====\n";
    }
    std::erase( all, '\r' );
    Testing::expectApproved( all, "backend/identity/approved/code-mails.txt" );
}

TEST( CodeMails, HaveNoOtherNumberOfSixDigits )
{
    for ( const auto purpose : { CodePurpose::SignUp, CodePurpose::Reset } )
    {
        const auto mail = codeMail( "123456@example.org", "654321", purpose );
        EXPECT_EQ( ( mail.subject + mail.text ).find( "123456" ), std::string::npos );
        EXPECT_NE( mail.text.find( "Your code is 654321\r\n" ), std::string::npos );
        const auto digits =
            std::count_if( mail.text.begin(), mail.text.end(), []( unsigned char c ) { return std::isdigit( c ); } );
        EXPECT_EQ( digits, purpose == CodePurpose::SignUp ? 10 : 6 ) << "the code, and the numbers of the steps";
    }
}
