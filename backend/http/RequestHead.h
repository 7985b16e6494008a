#pragma once

#include "http/ChunkedBody.h"
#include "http/HttpServer.h"

#include <memory>
#include <optional>

namespace VX::Backend
{

/// What the first part of a request says.
struct RequestHead
{
    HttpRequest request;
    bool keepAlive = false;
    bool chunked = false;
    /// Of the body, when it is announced.
    std::optional<uint64_t> length;
    /// Whether the client waits for a word before it sends the body.
    bool waitsForContinue = false;
};

/// Reads the head of one request as it comes. Refuses what may be understood in two ways, for what stands before this
/// server may understand it in the other.
class RequestHeadReader
{
public:
    explicit RequestHeadReader( size_t mostBytes );
    ~RequestHeadReader();

    /// Takes what belongs to the head from the front of `bytes`. Not to be called again after another answer than
    /// `More`.
    [[nodiscard]] Reading take( std::string& bytes );
    /// Once done: what it says, or nothing when it breaks a rule.
    [[nodiscard]] std::optional<RequestHead> head() const;
    /// Method and path, as far as they are known before the end.
    [[nodiscard]] HttpRequest firstLine() const;

private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
    size_t mostBytes_;
    /// As it came.
    std::string text_;
};

} // namespace VX::Backend
