#include "open/FileOpener.h"
#include "step/StepFormat.h"
#include "step/StepTools.h"

#include <VXViewer/tools/FunctionItem.h>

namespace VX::App
{
namespace
{

void convertAnew()
{
    if ( auto* opener = FileOpener::instance() )
        opener->reopen( opener->selectedFiles( &isStepFile ), OpenBatch::Mode::LoadAnew );
}

std::string_view hasStepFile( const SelectedObjects& )
{
    const auto* opener = FileOpener::instance();
    return opener && !opener->selectedFiles( &isStepFile ).empty() ? "" : "Select an object of an opened STEP file";
}

} // namespace

void registerConvertTool()
{
    RibbonSchemaHolder::addItem(
        std::make_shared<FunctionItem>( FunctionItemParams{ "Convert anew", &convertAnew, &hasStepFile, {} } ) );
}

} // namespace VX::App
