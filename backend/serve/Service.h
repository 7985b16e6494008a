#pragma once

#include "converter/WorkerProcess.h"
#include "identity/EmbeddedIdentity.h"
#include "identity/gateway/GatewayIdentity.h"
#include "serve/Daemon.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace VX::Backend
{

/// Where sign-ins are decided: here, unless the endpoint of another service is given.
struct IdentityOptions
{
    EmbeddedIdentityOptions embedded;
    std::chrono::seconds accessLife = std::chrono::hours( 8 );
    GatewayOptions gateway;
    /// Mails go into the folder "outbox" of the data unless it has a URL.
    SmtpOptions smtp;
};

/// Where uploads and results are kept: in the data folder, unless the endpoint of an S3-compatible service is given.
struct StoreOptions
{
    std::string endpoint;       ///< "https://storage.example.org", as this service reaches it
    std::string publicEndpoint; ///< as clients reach it; the same unless set
    std::string region = "us-east-1";
};

struct ServiceOptions
{
    std::filesystem::path data;
    std::string address = "127.0.0.1"; ///< of this machine, on which it listens
    uint16_t port = 8443;
    /// Where the operator's listener is, "127.0.0.1:8444"; there is none unless set.
    std::string monitor;
    /// What clients call it, such as "https://convert.example.org"; "https://localhost:PORT" unless set.
    std::string publicUrl;
    /// Networks of proxies whose word is taken for a client's address.
    std::vector<std::string> trustedProxies;
    /// In PEM; one of its own, for this machine alone, unless set.
    std::filesystem::path tlsCertificate, tlsKey;
    bool allowAnonymous = false;
    /// Address of a PostgreSQL that keeps what is in the data folder's databases otherwise, and the keys of sign-ins.
    std::string database;
    StoreOptions store;
    uint64_t maxUpload = uint64_t( 2 ) << 30;
    uint64_t maxStored = uint64_t( 16 ) << 30; ///< bytes of all uploads and results
    int slots = 2;                             ///< conversions at a time; 0 where other processes do them
    WorkerLimits worker;
    /// The beginning of the command line of what converts; this very program unless set.
    std::vector<std::string> converter;
    /// Whether workers may do without bubblewrap, and do.
    bool withoutSandbox = false;
    /// How long uploads and results are kept; no URL of one is good for longer.
    std::chrono::seconds keep{ 3600 };
    /// The newest release, told to programs that ask; this back end's own version unless set.
    std::string latestVersion;
    IdentityOptions identity;
    /// Packages of the page "/download"; the folder "downloads" of the data unless set.
    std::filesystem::path downloads;
    std::chrono::seconds keepStatistics = std::chrono::days( 400 );
    /// Between two turns of what is done by the clock: deleting what is over, renewing keys and the certificate.
    std::chrono::milliseconds choresEvery = std::chrono::minutes( 30 );
    uint64_t maxStatistics = uint64_t( 8 ) << 30;         ///< bytes of all statistics
    uint64_t maxStatisticsWaiting = uint64_t( 64 ) << 20; ///< bytes of reports that wait to be stored
};

/// All services of one machine in one process. Its end hands back what runs, for the next start.
class Service final : public Daemon
{
public:
    [[nodiscard]] static tl::expected<std::unique_ptr<Service>, std::string> start( const ServiceOptions& options );
    ~Service() override;

    /// Whether a service could be started with these options, as far as they tell; it makes nothing and reads only the
    /// certificate.
    [[nodiscard]] static tl::expected<void, std::string> check( const ServiceOptions& options );

    [[nodiscard]] std::string greeting() const override;
    [[nodiscard]] uint16_t port() const;
    [[nodiscard]] uint16_t monitorPort() const override;
    /// Where clients find it.
    [[nodiscard]] const std::string& url() const;
    /// Reads certificate and key again; where they are none the old ones stay.
    void reload() override;
    /// Takes no more conversions, and says at "/healthz" that it stops. What runs goes on, and all calls are answered.
    void drain() override;
    [[nodiscard]] bool isDrained() const override;

private:
    class Parts;
    explicit Service( std::unique_ptr<Parts> parts );
    std::unique_ptr<Parts> parts_;
};

} // namespace VX::Backend
