#pragma once

#include <memory>
#include <mutex>
#include <vector>

namespace VX::Backend
{

/// Easy handles of libcurl with the connections that they keep open: agreeing on the keys of a new one takes longer
/// than most answers. Any thread.
class CurlHandles
{
public:
    class Handle;
    /// One that nobody else uses, until it is let go. It speaks TLS 1.2 at least, and trusts the file that
    /// SSL_CERT_FILE names, or else the system's authorities.
    class Loan
    {
    public:
        explicit Loan( CurlHandles& handles );
        ~Loan();
        Loan( const Loan& ) = delete;
        Loan& operator=( const Loan& ) = delete;
        /// A CURL*, of the pool.
        [[nodiscard]] void* get() const;

    private:
        CurlHandles& handles_;
        std::unique_ptr<Handle> handle_;
    };

    CurlHandles();
    ~CurlHandles();
    CurlHandles( const CurlHandles& ) = delete;
    CurlHandles& operator=( const CurlHandles& ) = delete;

private:
    std::mutex mutex_;
    std::vector<std::unique_ptr<Handle>> idle_;
};

} // namespace VX::Backend
