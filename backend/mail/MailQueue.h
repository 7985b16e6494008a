#pragma once

#include "database/Database.h"
#include "mail/Mailer.h"
#include "work/Repeating.h"

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <set>

namespace VX::Backend
{

/// When mails are sent.
enum class Delivery
{
    Later, ///< by the queue's own thread, so that nobody waits for a mail server
    AtOnce ///< by whoever calls `deliver`; what fails is tried again by the thread
};

/// Mails that are to be sent, in the database: what is written in a transaction is sent when it is kept, also by the
/// next process. A mail is sent again after longer and longer pauses until it was taken or is no use any more; after a
/// crash it may come twice. Any thread.
///
/// The text of a mail stands in the database until it was sent, and not longer.
class MailQueue
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    /// Makes the table where it is missing.
    [[nodiscard]] static DatabaseResult<void> prepare( Database& database );

    /// What is passed must outlive this object.
    ///
    /// Its end waits for a mail that is being sent; the others wait for the next process.
    MailQueue( Database& database, Mailer& mailer, Delivery delivery, Clock clock );

    /// Writes a mail that is of use for so long, as part of the caller's transaction, and returns its number.
    [[nodiscard]] DatabaseResult<int64_t> add( const Mail& mail, std::chrono::seconds life );
    /// After the commit: sends the mail, or has it sent. The error is for the log, and said of a mail that the caller
    /// was to see sent.
    [[nodiscard]] tl::expected<void, std::string> deliver( int64_t number );
    /// Takes a mail back that was not sent.
    [[nodiscard]] DatabaseResult<void> discard( int64_t number );
    /// Looks at once for what is due.
    void wake() { sending_.wake(); }

    /// Deletes what was sent, or has been of no use, for a day.
    [[nodiscard]] DatabaseResult<void> clean();

private:
    struct Waiting
    {
        int64_t number = 0;
        Mail mail;
        int64_t attempts = 0;
    };
    /// Sends what is longest due; false when it is better to wait a little.
    bool sendNext_();
    /// The longest due, or one of a number.
    [[nodiscard]] DatabaseResult<std::optional<Waiting>> next_( std::optional<int64_t> number );
    [[nodiscard]] tl::expected<void, std::string> send_( const Waiting& waiting );
    /// Writes what has come of a mail; false when that is not possible now.
    bool note_( const Waiting& waiting, const tl::expected<void, std::string>& sent );

    Database& database_;
    Mailer& mailer_;
    Delivery delivery_;
    Clock clock_;
    std::mutex mutex_;
    /// What was sent but could not be noted yet.
    std::set<int64_t> sent_;
    Repeating sending_;
};

} // namespace VX::Backend
