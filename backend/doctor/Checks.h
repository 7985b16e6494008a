#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace VX::Backend
{

enum class Verdict
{
    Ok,
    Warn, ///< works, but not for long or not as well as it could
    Fail
};

/// What one look has found; the text of one that is not good says what to do.
struct Finding
{
    Verdict verdict = Verdict::Ok;
    std::string about;
    std::string text;
};

using Findings = std::vector<Finding>;

/// Whom the doctor looks at: the options are those of the service.
struct Patient
{
    std::filesystem::path data;
    std::string address = "127.0.0.1";
    uint16_t port = 8443;
    std::string publicUrl;
    std::filesystem::path tlsCertificate, tlsKey;
    uint64_t maxStored = uint64_t( 16 ) << 30;
    /// The beginning of a worker's command line; this very program unless given.
    std::vector<std::string> worker;
    /// Whether a service holds the folder, and whether workers can be caged here; found out, not given.
    bool isRunning = false;
    bool hasBubblewrap = false;
};

/// Each looks at one thing, changes nothing and waits for seconds at most, longer only for a large database.
[[nodiscard]] Finding checkFolder( const Patient& patient );
[[nodiscard]] Finding checkSecrets( const Patient& patient );
[[nodiscard]] Finding checkSigningKeys( const Patient& patient );
[[nodiscard]] Finding checkCertificate( const Patient& patient );
[[nodiscard]] Finding checkNames( const Patient& patient );

/// Of the database of accounts and that of the statistics.
[[nodiscard]] Findings checkDatabases( const Patient& patient );
/// What waits in them, and how it fits on the disk.
[[nodiscard]] Findings checkWork( const Patient& patient );

[[nodiscard]] Finding checkSandbox( const Patient& patient );
[[nodiscard]] Finding checkWorker( const Patient& patient );
[[nodiscard]] Finding checkDescriptors();
/// Whether the service answers, or could listen.
[[nodiscard]] Finding checkPort( const Patient& patient );

} // namespace VX::Backend
