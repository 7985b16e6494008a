#include <AboutTool.h>
#include <AppSetup.h>
#include <step/StepTools.h>

#include <VXViewer/schema/RibbonSchema.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( RibbonOfTheProgram, EveryNameInItIsATool )
{
    App::registerAboutTool();
    App::registerConvertTool();
    const auto config = App::builtInConfig();
    using Problems = std::vector<std::string>;
    EXPECT_EQ( RibbonSchemaHolder::loadSchema( config["Schema"] ), Problems{} );
    EXPECT_EQ( RibbonSchemaHolder::loadStructure( config["Structure"] ), Problems{} );
}
