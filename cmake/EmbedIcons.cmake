# Run as a script: turns PNG files into a source that adds them to the drawings of the interface when its library is loaded.
# Arguments: -DOUTPUT=FILE -DINPUTS=a.png,b.png,…
string(REPLACE "," ";" files "${INPUTS}")
set(arrays "")
set(adding "")
foreach(file ${files})
    get_filename_component(name ${file} NAME_WE)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "constexpr unsigned char c_${name}[] = { ${bytes} };\n")
    string(APPEND adding "    VX::RibbonIcons::add( \"${name}\", std::as_bytes( std::span( c_${name} ) ) );\n")
endforeach()
file(WRITE ${OUTPUT} "// Made by the build from the SVG files of a folder \"icons\".
#include <VXViewer/ui/RibbonIcons.h>

namespace
{

${arrays}
[[maybe_unused]] const bool sAdded = []
{
${adding}    return true;
}();

} // namespace
")
