#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace VX::Testing
{

/// Everything that is logged while this object lives, at every level, one line "level: text" each. It is not shown.
class LogCapture
{
public:
    /// Called with each line before it is written, on the thread that logs it.
    using OnLine = std::function<void( std::string_view text )>;

    explicit LogCapture( OnLine onLine = {} );
    ~LogCapture();
    LogCapture( const LogCapture& ) = delete;
    LogCapture& operator=( const LogCapture& ) = delete;

    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool contains( const std::string& part ) const;
    [[nodiscard]] size_t count( const std::string& part ) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace VX::Testing
