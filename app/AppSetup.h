#pragma once

#include <VXOrvanta/shell/OrvantaSetup.h>

#include <json/value.h>

namespace VX::App
{

/// Orvanta with its configuration applied before the first frame, so that no window without tools is ever seen.
class AppSetup final : public OrvantaSetup
{
public:
    explicit AppSetup( Json::Value config )
        : config_( std::move( config ) )
    {
    }

    void setupExtendedLibraries() const override;

private:
    Json::Value config_;
};

/// The configuration that the program brings, with the members of a user's document over it.
[[nodiscard]] Json::Value mergedConfig( const Json::Value& user );
[[nodiscard]] Json::Value builtInConfig();

} // namespace VX::App
