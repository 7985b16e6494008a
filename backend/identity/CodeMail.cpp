#include "identity/CodeMail.h"

#include <fmt/format.h>

namespace VX::Backend
{

Mail codeMail( const std::string& email, const std::string& code, CodePurpose purpose )
{
    if ( purpose == CodePurpose::Reset )
        return { email, "Reset your Orvanta password",
            fmt::format( "Your code is {}\r\n\r\nEnter it in Orvanta to choose a new password.\r\n"
                         "If you did not ask for it, ignore this mail.",
                code ) };
    return { email, "Confirm your Orvanta account",
        fmt::format( "Your code is {}\r\n\r\nEnter it in Orvanta to confirm your account.\r\n\r\n"
                     "Was Orvanta closed before that? Then go on like this:\r\n"
                     "1. Start Orvanta and press \"password?\" behind \"Forgot your\".\r\n"
                     "2. Enter this e-mail address and press \"Reset My Password\".\r\n"
                     "3. Enter this code, choose a password, and press \"Change Password\".\r\n"
                     "   One more mail comes meanwhile; the code in either is good.\r\n"
                     "4. Sign in with that password. Your account is confirmed.\r\n\r\n"
                     "If you did not ask for it, ignore this mail.",
            code ) };
}

} // namespace VX::Backend
