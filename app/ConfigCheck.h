#pragma once

#include <json/value.h>

#include <string>
#include <vector>

namespace VX::App
{

/// What is wrong with a user's configuration, a text for the user each: members that are not known or of another type
/// than they should be, a theme that is not known, and fonts that cannot be used. What is wrong inside the lists of
/// tools is found, and told, when they are applied.
[[nodiscard]] std::vector<std::string> configProblems( const Json::Value& user );

/// Shows them in one notification of the viewer's menu, if there are any. UI thread, while the viewer runs.
void tellProblems( const std::vector<std::string>& problems );

/// The document without the members that are not known or of another type than they should be.
[[nodiscard]] Json::Value usableConfig( const Json::Value& user );

} // namespace VX::App
