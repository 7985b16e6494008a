#pragma once

#include "database/Database.h"
#include "identity/keys/KeyStore.h"

namespace VX::Backend
{

/// In a table, for all processes that share the database.
class DatabaseKeyStore final : public KeyStore
{
public:
    [[nodiscard]] static DatabaseResult<void> prepare( Database& database );

    /// The database must outlive it.
    explicit DatabaseKeyStore( Database& database );

    [[nodiscard]] std::string name() const override;
    [[nodiscard]] Result read() override;
    [[nodiscard]] Result ensure( std::chrono::sys_seconds now ) override;
    [[nodiscard]] Result change( const std::function<void( IdentityKeys& )>& edit ) override;
    [[nodiscard]] std::chrono::seconds notice() const override { return std::chrono::minutes( 1 ); }
    [[nodiscard]] std::optional<std::string> stamp() override;

private:
    /// As it is kept; empty where there is none.
    [[nodiscard]] DatabaseResult<std::string> text_();
    [[nodiscard]] Result write_( const IdentityKeys& keys );

    Database& database_;
};

} // namespace VX::Backend
