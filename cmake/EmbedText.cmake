# Run as a script: turns a text file into a header with its bytes. Arguments: -DINPUT=FILE -DOUTPUT=FILE -DNAME=cName
file(READ ${INPUT} bytes HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
file(WRITE ${OUTPUT} "#pragma once\n\ninline constexpr char ${NAME}[] = { ${bytes} '\\0' };\n")
