#pragma once

#include "database/engine/Bell.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace VX::Backend
{

class PostgresSession;

/// LISTEN and NOTIFY (https://www.postgresql.org/docs/15/sql-notify.html), on a connection of its own. Where that is
/// cut it is made again, with a word in the log. What is told rings after its transaction and not in it, for there
/// NOTIFY has all commits wait for each other.
class PostgresBell final : public Bell
{
public:
    PostgresBell( std::string address, std::string schema );
    ~PostgresBell() override;

    void ring( const std::string& word ) override;
    void listen( Heard heard ) override;

private:
    void run_();
    /// Until the connection is cut, or the end.
    void serve_( PostgresSession& session );
    /// Whether it hears what it rings itself; a pooler that lends connections for a transaction lets nobody hear.
    void look_( PostgresSession& session );
    [[nodiscard]] bool tell_( PostgresSession& session );
    void hear_( PostgresSession& session );
    void wake_() const;

    std::string address_, schema_;
    const std::string own_; ///< before each of its words, which it hears, too
    int wakes_;             ///< an eventfd
    Heard heard_;
    std::mutex mutex_;
    std::deque<std::string> words_;
    std::atomic<bool> ending_{ false };
    bool isProved_ = false;
    std::thread thread_;
};

} // namespace VX::Backend
