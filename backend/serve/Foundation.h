#pragma once

#include "data/DataFolder.h"
#include "database/Database.h"
#include "http/TrustedProxies.h"
#include "identity/keys/KeyStore.h"
#include "serve/Service.h"
#include "serve/StoreKeys.h"
#include "tls/Certificates.h"

#include <tl/expected.hpp>

#include <memory>
#include <string>

namespace VX::Backend
{

/// Makes the tables of all services, those of the statistics in a database of their own, or brings them to this
/// version.
[[nodiscard]] DatabaseResult<void> prepareTables( Database& database, Database& statistics );

/// What has to be there before any service: all that can fail at a start but the port.
struct Foundation
{
    std::string publicUrl; ///< scheme and host, to which paths are added; empty for this machine's own
    TrustedProxies proxies;
    std::unique_ptr<FolderLock> lock;
    ServerCertificate certificate;
    StoreKeys storeKeys;
    /// With the tables of all services.
    std::unique_ptr<Database> database;
    /// Of its own, so that no sign-in and no conversion ever waits for a report.
    std::unique_ptr<Database> statistics;
    std::unique_ptr<KeyStore> keyStore;
    IdentityKeys identityKeys;

    /// Makes and reads it; nothing is made when the options alone tell that it cannot be. Blocks.
    [[nodiscard]] static tl::expected<Foundation, std::string> lay( const ServiceOptions& options );
    /// The same for a process that nobody calls: what it shares with services. The database and the store have to be
    /// somewhere else.
    [[nodiscard]] static tl::expected<Foundation, std::string> layShared( const ServiceOptions& options );
    /// Certificate and key of the operator, or of our own, which are made where they are missing or about to end.
    [[nodiscard]] static tl::expected<ServerCertificate, std::string> certificateOf( const ServiceOptions& options );
    /// Whether it could be laid, as far as the options tell; makes nothing and reads only the certificate.
    [[nodiscard]] static tl::expected<void, std::string> check( const ServiceOptions& options );

private:
    /// The data folder, and what is in it or elsewhere.
    [[nodiscard]] tl::expected<void, std::string> layData_( const ServiceOptions& options );
};

} // namespace VX::Backend
