# Run as a script: turns PNG files into a source with their bytes.
# Arguments: -DOUTPUT=FILE -DINPUTS=a.png,b.png,…
string(REPLACE "," ";" files "${INPUTS}")
set(arrays "")
set(table "")
foreach(file ${files})
    get_filename_component(name ${file} NAME_WE)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "constexpr unsigned char c_${name}[] = { ${bytes} };\n")
    string(APPEND table "        { \"${name}\", std::as_bytes( std::span( c_${name} ) ) },\n")
endforeach()
file(WRITE ${OUTPUT} "// Made by the build; the drawings stand in platform/VXViewer/icons.
#include <VXViewer/ui/EmbeddedIcons.h>

namespace VX
{
namespace
{
${arrays}
} // namespace

const std::vector<std::pair<const char*, std::span<const std::byte>>>& embeddedIcons()
{
    static const std::vector<std::pair<const char*, std::span<const std::byte>>> sIcons{
${table}    };
    return sIcons;
}

} // namespace VX
")
