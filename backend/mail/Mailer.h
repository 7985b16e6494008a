#pragma once

#include <tl/expected.hpp>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

namespace VX::Backend
{

/// A short text to one person. The address and the subject are one line each, of printable characters.
struct Mail
{
    std::string to;
    std::string subject;
    std::string text;
};

/// Sends mails; any thread, and it may block.
class Mailer
{
public:
    virtual ~Mailer() = default;
    /// The error is for the log and holds nothing of the mail's text.
    [[nodiscard]] virtual tl::expected<void, std::string> send( const Mail& mail ) = 0;
    /// Removes what it keeps of mails that were sent so long ago.
    virtual void forget( std::chrono::seconds /*age*/ ) {}
};

/// Writes each mail into a file of its own (mode 0600) in a folder, where no mail server is at hand.
[[nodiscard]] std::unique_ptr<Mailer> outboxMailer( const std::filesystem::path& folder );

struct SmtpOptions
{
    std::string url;  ///< "smtp://host:587" (with STARTTLS) or "smtps://host"
    std::string from; ///< address of the sender
    std::string user; ///< empty where the server asks for none
    std::string password;
    /// Also sends to a server without TLS, for tests on this machine.
    bool allowPlain = false;
    /// Of one mail in all: a server that says nothing is given up.
    std::chrono::seconds timeout{ 20 };
};

[[nodiscard]] std::unique_ptr<Mailer> smtpMailer( SmtpOptions options );

} // namespace VX::Backend
