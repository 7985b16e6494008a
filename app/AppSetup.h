#pragma once

#include <VXOrvanta/shell/OrvantaSetup.h>

#include <json/value.h>

#include <string>
#include <vector>

namespace VX::App
{

/// Orvanta with its configuration applied before the first frame, so that no window without tools is ever seen.
class AppSetup final : public OrvantaSetup
{
public:
    /// `problems` of the configuration, if any, are told in a notification.
    explicit AppSetup( Json::Value config, std::vector<std::string> problems = {} )
        : config_( std::move( config ) )
        , problems_( std::move( problems ) )
    {
    }

    void setupExtendedLibraries() const override;

private:
    Json::Value config_;
    std::vector<std::string> problems_;
};

/// The configuration that the program brings, with those members of a user's document over it that can be used. A list
/// or object of a wrong type leaves the one that the program brings.
[[nodiscard]] Json::Value mergedConfig( const Json::Value& user );
[[nodiscard]] Json::Value builtInConfig();

} // namespace VX::App
