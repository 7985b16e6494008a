#pragma once

#include "converter/ConversionJobs.h"
#include "database/Schema.h"
#include "identity/Accounts.h"
#include "identity/KeptLimit.h"
#include "identity/gateway/GatewayNames.h"
#include "mail/MailQueue.h"
#include "support/database/TestDatabase.h"

#include <gtest/gtest.h>

namespace VX::Testing
{

/// A database with all tables of accounts, mails and conversions.
[[nodiscard]] inline std::unique_ptr<Backend::Database> openDatabase( const std::filesystem::path& file )
{
    auto out = openTestDatabase( file );
    const auto made = Backend::ConversionJobs::prepare( *out )
                          .and_then( [&] { return Backend::Accounts::prepare( *out ); } )
                          .and_then( [&] { return Backend::KeptLimit::prepare( *out ); } )
                          .and_then( [&] { return Backend::GatewayNames::prepare( *out ); } )
                          .and_then( [&] { return Backend::MailQueue::prepare( *out ); } );
    EXPECT_TRUE( made ) << made.error().text;
    return out;
}

} // namespace VX::Testing
