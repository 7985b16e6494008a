#pragma once

#include "converter/ConversionJobs.h"
#include "identity/Accounts.h"
#include "identity/KeptLimit.h"
#include "identity/gateway/GatewayNames.h"
#include "mail/MailQueue.h"

#include <gtest/gtest.h>

namespace VX::Testing
{

/// A database with all tables of accounts, mails and conversions.
[[nodiscard]] inline std::unique_ptr<Backend::Database> openDatabase( const std::filesystem::path& file )
{
    auto out = Backend::Database::open( file );
    EXPECT_TRUE( out && Backend::ConversionJobs::prepare( **out ) && Backend::Accounts::prepare( **out ) &&
                 Backend::KeptLimit::prepare( **out ) && Backend::GatewayNames::prepare( **out ) &&
                 Backend::MailQueue::prepare( **out ) );
    return std::move( out.value() );
}

} // namespace VX::Testing
