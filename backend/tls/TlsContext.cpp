#include "tls/TlsContext.h"

#include <fmt/format.h>

namespace VX::Backend
{

namespace ssl = boost::asio::ssl;

tl::expected<std::shared_ptr<ssl::context>, std::string> makeTlsContext(
    const std::filesystem::path& certificate, const std::filesystem::path& key )
{
    const auto unusable = []( const std::filesystem::path& file, const boost::system::error_code& ec )
    { return tl::unexpected( fmt::format( "\"{}\" cannot be used for TLS: {}", file.string(), ec.message() ) ); };
    auto out = std::make_shared<ssl::context>( ssl::context::tls_server );
    boost::system::error_code ec;
    out->set_options( ssl::context::default_workarounds | ssl::context::no_sslv2 | ssl::context::no_sslv3 |
                          ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1,
        ec );
    // What a lost key does not open afterwards, and nobody can change on the way.
    SSL_CTX_set_cipher_list( out->native_handle(), "ECDHE+AESGCM:ECDHE+CHACHA20" );
    out->use_certificate_chain_file( certificate.string(), ec );
    if ( ec )
        return unusable( certificate, ec );
    out->use_private_key_file( key.string(), ssl::context::pem, ec );
    if ( ec )
        return unusable( key, ec );
    return out;
}

} // namespace VX::Backend
