#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace VX::Testing
{

/// Has another value as long as this lives.
class EnvironmentVariable
{
public:
    EnvironmentVariable( const char* name, const std::string& value )
        : name_( name )
    {
        if ( const char* before = std::getenv( name ) )
            before_ = before;
        ::setenv( name, value.c_str(), 1 );
    }
    ~EnvironmentVariable()
    {
        if ( before_ )
            ::setenv( name_, before_->c_str(), 1 );
        else
            ::unsetenv( name_ );
    }
    EnvironmentVariable( const EnvironmentVariable& ) = delete;
    EnvironmentVariable& operator=( const EnvironmentVariable& ) = delete;

private:
    const char* name_;
    std::optional<std::string> before_;
};

} // namespace VX::Testing
