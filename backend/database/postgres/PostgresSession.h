#pragma once

#include "database/engine/SqlSession.h"

#include <chrono>
#include <memory>

// NOLINTNEXTLINE(readability-identifier-naming): the library's
struct pg_conn;
// NOLINTNEXTLINE(readability-identifier-naming): the library's
struct pg_result;

namespace VX::Backend
{

/// A connection to a PostgreSQL server (https://www.postgresql.org/docs/15/libpq.html).
///
/// Statements alone see what was committed before them; a deadlock takes one of them back, which is run again.
/// Transactions take turns, whichever process they are of, so they read and write as if each was alone with what
/// transactions write.
class PostgresSession final : public SqlSession
{
public:
    /// What is given up after this time: a server that does not answer, a lock that others have.
    static constexpr std::chrono::milliseconds cPatience{ 4000 };

    /// `address` is a "postgresql://…" URL or "name=value …" as libpq takes them, with the password in it, in
    /// PGPASSWORD or in the file that PGPASSFILE names. Tables are those of the schema, which is made when it is
    /// missing. Statements and waits for locks that take longer than `patience` fail.
    [[nodiscard]] static DatabaseResult<std::unique_ptr<PostgresSession>> open(
        const std::string& address, const std::string& schema, std::chrono::milliseconds patience = cPatience );
    ~PostgresSession() override;

    [[nodiscard]] int changes() const override { return changes_; }
    [[nodiscard]] bool isAlive() override;

    /// Of what LISTEN asked for: whether there is any, without waiting.
    [[nodiscard]] bool hasNotices();
    /// Takes what has come of it; what is on its way is read first.
    [[nodiscard]] std::vector<std::string> takeNotices();
    /// Becomes readable when more comes.
    [[nodiscard]] int socket() const;
    /// Whether the connection was not given up.
    [[nodiscard]] bool isConnected() const { return connection_ != nullptr; }

private:
    struct Free
    {
        void operator()( pg_conn* connection ) const;
        void operator()( pg_result* result ) const;
    };
    using Result = std::unique_ptr<pg_result, Free>;

    PostgresSession( pg_conn* connection, std::chrono::milliseconds patience );

    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> run_(
        const std::string& sql, const std::vector<SqlValue>& parameters ) override;
    [[nodiscard]] DatabaseResult<void> begin_() override;
    [[nodiscard]] DatabaseResult<void> commit_() override;
    void end_() override;

    [[nodiscard]] DatabaseResult<void> prepare_( const std::string& schema );
    [[nodiscard]] DatabaseResult<Result> ask_( const std::string& sql, const std::vector<SqlValue>& parameters );
    /// The last answer to what was sent.
    [[nodiscard]] DatabaseResult<Result> answer_();
    /// Until there is something to read.
    [[nodiscard]] DatabaseResult<void> wait_( std::chrono::steady_clock::time_point end );
    void readNotices_();
    /// Gives the connection up: whatever it was about, nobody knows what became of it.
    [[nodiscard]] DatabaseError lost_( const std::string& why );

    std::unique_ptr<pg_conn, Free> connection_;
    std::chrono::milliseconds patience_;
    int changes_ = 0;
    std::vector<std::string> notices_;
};

} // namespace VX::Backend
