#pragma once

#include <VXViewer/core/ViewerSetup.h>
#include <VXViewer/schema/RibbonMenuItem.h>

#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

namespace VX::App
{

/// The program without a service: the framework's own menu and tools, nobody to sign in, nothing that is sent. Tools
/// that make sense with an account alone are away for as long as it runs.
class LocalSetup final : public ViewerSetup
{
public:
    /// The configuration as it is for a program with a service; its `problems`, if any, are told in a notification.
    explicit LocalSetup( const Json::Value& config, std::vector<std::string> problems = {} );

    void setupBasePlugins( Viewer* viewer ) const override;
    void setupExtendedLibraries() const override;
    void unloadExtendedLibraries() const override;

private:
    Json::Value config_;
    std::vector<std::string> problems_;
    mutable std::vector<std::shared_ptr<RibbonMenuItem>> away_;
};

/// A configuration without what names a tool of the service, in whatever list.
[[nodiscard]] Json::Value withoutServiceTools( Json::Value config );

} // namespace VX::App
