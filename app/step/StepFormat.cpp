#include "step/StepFormat.h"

#include "step/ImportLeftovers.h"
#include "step/StepImport.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXOrvanta/converter/ConverterService.h>

namespace VX::App
{

void registerStepFormat()
{
    FileFormats::add( { .name = "STEP model",
        .extensions = { ".step", ".stp" },
        .load = &importStep,
        .loadAsync = []( const std::filesystem::path& file ) { return std::make_shared<StepImport>( file ); },
        .needsSignIn = []( const std::filesystem::path& file ) { return !isConverted( file ); },
        .forget = &forgetConversion } );
    ConverterService::setFolderObserver( &ImportLeftovers::noteFolder );
}

bool isStepFile( const std::filesystem::path& file )
{
    const auto extension = toLower( utf8string( file.extension() ) );
    return extension == ".step" || extension == ".stp";
}

} // namespace VX::App
