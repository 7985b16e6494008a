#include <VXOrvanta/telemetry/TelemetrySetting.h>

#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXOrvanta/telemetry/TelemetryConfig.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/Widgets.h>

namespace VX
{
namespace
{

class AllowTelemetrySetting final : public ViewerSettingsPlugin::ExternalSettings
{
public:
    [[nodiscard]] const std::string& getName() const override { return name_; }
    void draw( float menuScaling ) override
    {
        bool value = SessionLogs::isAllowed();
        if ( UI::checkbox( "Collect Usage Statistics", &value ) )
        {
            Config::instance().setBool( cTelemetryAllowedConfigKey, value );
            SessionLogs::allow( value );
        }
        UI::setTooltipIfHovered( "Allow application to collect (non-personal) data about tools that are used to "
                                 "improve performance.",
            menuScaling );
    }
    /// For this run; the stored consent counts again at the next sign-in.
    void reset() override { SessionLogs::allow( true ); }
    [[nodiscard]] const char* separatorName() const override { return "Behavior"; }
    [[nodiscard]] std::string resetEffect() const override
    {
        return "Usage statistics are collected until the next sign-in, whatever you have chosen; then your choice "
               "counts "
               "again";
    }

private:
    std::string name_ = "Collect Usage Statistics";
};

} // namespace

void addTelemetrySetting()
{
    constexpr auto cTab = ViewerSettingsPlugin::TabType::Application;
    auto* settings = ViewerSettingsPlugin::instance();
    if ( !settings || !SessionLogs::isEnabled() )
        return;
    static const auto sSetting = std::make_shared<AllowTelemetrySetting>();
    settings->delComboSettings( cTab, sSetting );
    settings->addComboSettings( cTab, sSetting );
}

} // namespace VX
