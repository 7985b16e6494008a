#include "AppTools.h"
#include "FileOpener.h"

#include <VXViewer/tools/FunctionItem.h>

namespace VX::App
{
namespace
{

void convertAnew()
{
    if ( auto* opener = FileOpener::instance() )
        opener->reopen( opener->selectedStepFiles(), OpenBatch::Mode::ConvertAnew );
}

std::string_view hasStepFile( const SelectedObjects& )
{
    const auto* opener = FileOpener::instance();
    return opener && !opener->selectedStepFiles().empty() ? "" : "Select an object of an opened STEP file";
}

} // namespace

void registerConvertTool()
{
    RibbonSchemaHolder::addItem(
        std::make_shared<FunctionItem>( FunctionItemParams{ "Convert anew", &convertAnew, &hasStepFile, {} } ) );
}

} // namespace VX::App
