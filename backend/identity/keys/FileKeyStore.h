#pragma once

#include "identity/keys/KeyStore.h"

namespace VX::Backend
{

/// In "identity-keys.json" of a folder, which its owner alone can read.
class FileKeyStore final : public KeyStore
{
public:
    explicit FileKeyStore( std::filesystem::path folder );

    [[nodiscard]] std::string name() const override;
    [[nodiscard]] Result read() override;
    [[nodiscard]] Result ensure( std::chrono::sys_seconds now ) override;
    [[nodiscard]] Result change( const std::function<void( IdentityKeys& )>& edit ) override;
    /// One service has the folder.
    [[nodiscard]] std::chrono::seconds notice() const override { return {}; }
    [[nodiscard]] std::optional<std::string> stamp() override;

private:
    [[nodiscard]] Result readFile_() const;
    [[nodiscard]] Result write_( const IdentityKeys& keys ) const;

    std::filesystem::path folder_, file_;
};

} // namespace VX::Backend
