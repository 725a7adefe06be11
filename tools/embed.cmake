# Writes text files into a C++ source, as the function `quillet::dev::NAME` (src/dev/embedded_files.h):
#
#     cmake -DNAME=new_site_files -DOUTPUT=FILE.cpp -DFOLDER=DIR -P embed.cmake -- NAME_OF_FILE...
#
# The files' names are relative to the folder.
set(source "// Written by tools/embed.cmake.\n#include \"dev/embedded_files.h\"\n\nnamespace quillet::dev {\n\n")
string(APPEND source "namespace {\n\nusing namespace std::string_view_literals;\n\nconstexpr embedded_file files[] = {\n")
set(is_name FALSE)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(index RANGE ${last})
  if(is_name)
    file(READ "${FOLDER}/${CMAKE_ARGV${index}}" content)
    string(APPEND source "    {\"${CMAKE_ARGV${index}}\"sv, R\"embedded(${content})embedded\"sv},\n")
  elseif(CMAKE_ARGV${index} STREQUAL "--")
    set(is_name TRUE)
  endif()
endforeach()
string(APPEND source "};\n\n}  // namespace\n\nstd::span<const embedded_file> ${NAME}() { return files; }\n\n")
string(APPEND source "}  // namespace quillet::dev\n")
file(WRITE "${OUTPUT}" "${source}")
