#pragma once

#include "identity/Accounts.h"
#include "mail/Mailer.h"

namespace VX::Backend
{

/// The mail that brings a code. People and programs look for the code as the one number of six digits, so nothing else
/// of it, the address included, is put beside the code.
[[nodiscard]] Mail codeMail( const std::string& email, const std::string& code, CodePurpose purpose );

} // namespace VX::Backend
