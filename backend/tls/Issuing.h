#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <openssl/evp.h>
#include <openssl/x509.h>

namespace VX::Backend
{

using TlsKey = std::unique_ptr<EVP_PKEY, decltype( &EVP_PKEY_free )>;
using TlsCertificate = std::unique_ptr<X509, decltype( &X509_free )>;

/// A certificate that is to be made.
struct CertificatePlan
{
    std::string name;
    /// Of a server, as `subjectNamesOf` tells them; an authority has none.
    std::vector<std::string> subjectNames;
    std::chrono::sys_seconds now; ///< it is good from a day before, for clients whose clocks are late
    std::chrono::seconds life;
};

/// A new key; null where there can be none.
[[nodiscard]] TlsKey makeTlsKey();
/// A certificate of the key, signed by the issuer; one of an authority, signed by itself, when there is no issuer.
[[nodiscard]] TlsCertificate makeCertificate(
    const CertificatePlan& plan, EVP_PKEY* key, X509* issuer = nullptr, EVP_PKEY* issuerKey = nullptr );

[[nodiscard]] std::string pemOf( X509* certificate );
[[nodiscard]] std::string pemOf( EVP_PKEY* key );
/// All that a PEM file has in it, in its order; none where it cannot be read.
[[nodiscard]] std::vector<TlsCertificate> certificatesIn( const std::filesystem::path& file );
/// Null where there is none that can be read.
[[nodiscard]] TlsKey keyIn( const std::filesystem::path& file );

/// When it ends.
[[nodiscard]] std::chrono::sys_seconds endOf( const X509* certificate );
/// "DNS:localhost" or "IP:127.0.0.1" for a host; empty where it can be neither.
[[nodiscard]] std::string subjectNameOf( const std::string& host );
/// Those of a certificate, in this form, in order.
[[nodiscard]] std::vector<std::string> subjectNamesOf( const X509* certificate );
[[nodiscard]] bool isIssuedBy( X509* certificate, X509* authority );

} // namespace VX::Backend
