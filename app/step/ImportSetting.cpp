#include "open/FileOpener.h"
#include "step/StepTools.h"

#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/Widgets.h>

namespace VX::App
{
namespace
{

class ImportSetting final : public ViewerSettingsPlugin::ExternalSettings
{
public:
    [[nodiscard]] const std::string& getName() const override { return name_; }
    void draw( float ) override
    {
        bool value = Config::instance().getBool( cBackgroundImportKey, false );
        if ( UI::checkbox( name_.c_str(), &value ) )
            Config::instance().setBool( cBackgroundImportKey, value );
        UI::setTooltipIfHovered( "Go on working while STEP files are converted; a note tells when each is ready." );
    }
    void reset() override { Config::instance().setBool( cBackgroundImportKey, false ); }
    [[nodiscard]] const char* separatorName() const override { return "Behavior"; }
    [[nodiscard]] std::string resetEffect() const override
    {
        return "A single STEP file is imported in front of you again, not in the background";
    }

private:
    std::string name_ = "Import STEP files in the background";
};

} // namespace

void registerImportSetting()
{
    if ( auto* settings = ViewerSettingsPlugin::instance() )
        settings->addComboSettings( ViewerSettingsPlugin::TabType::Application, std::make_shared<ImportSetting>() );
}

} // namespace VX::App
