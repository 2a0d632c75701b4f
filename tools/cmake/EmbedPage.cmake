# SPDX-License-Identifier: MIT
# Run by the build: writes page_files.cpp, which holds the sources of the page as bytes. Compilers
# differ in how long a string literal they take.
#
#   cmake -DPAGE_FOLDER=... -DPAGE_SCRIPTS=page/a.js;page/b.js -DOUTPUT=... -P EmbedPage.cmake

# The Base64 of the hexadecimal text `hex`, whose bytes are no multiple of three.
function(base64_of hex result)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(text "")
  string(LENGTH "${hex}" length)
  math(EXPR padding "(6 - ${length} % 6) / 2")
  math(EXPR characters "(${length} * 4 + 5) / 6")
  string(APPEND hex 0000)
  foreach(i RANGE 1 ${characters})
    math(EXPR group "(${i} - 1) / 4 * 6")
    math(EXPR shift "18 - (${i} - 1) % 4 * 6")
    string(SUBSTRING "${hex}" ${group} 6 digits)
    math(EXPR index "(0x${digits} >> ${shift}) & 63")
    string(SUBSTRING "${alphabet}" ${index} 1 character)
    string(APPEND text ${character})
  endforeach()
  string(REPEAT "=" ${padding} equals)
  set(${result} "${text}${equals}" PARENT_SCOPE)
endfunction()

set(script "${OUTPUT}.js")
file(WRITE "${script}" "")
foreach(part IN LISTS PAGE_SCRIPTS)
  file(READ "${PAGE_FOLDER}/../${part}" text)
  file(APPEND "${script}" "${text}")
endforeach()

set(source "// Written by tools/cmake/EmbedPage.cmake.\n#include \"flow_timeline/page_files.h\"\n\n")
string(APPEND source "namespace FlowTimeline {\n")
foreach(item IN ITEMS "Html=${PAGE_FOLDER}/page.html" "Style=${PAGE_FOLDER}/page.css"
    "Script=${script}")
  string(REGEX MATCH "^([A-Za-z]+)=(.*)$" ignored "${item}")
  set(name ${CMAKE_MATCH_1})
  set(file "${CMAKE_MATCH_2}")
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  string(APPEND source
    "static const unsigned char k${name}Bytes[] = {${bytes}};\n"
    "const std::string_view kPage${name}(reinterpret_cast<const char*>(k${name}Bytes), "
    "sizeof k${name}Bytes);\n")
  if(NOT name STREQUAL "Html")
    file(SHA256 "${file}" hash)
    base64_of("${hash}" hash)
    string(APPEND source "const std::string_view kPage${name}Hash(\"sha256-${hash}\");\n")
  endif()
endforeach()
string(APPEND source "}  // namespace FlowTimeline\n")
file(WRITE "${OUTPUT}" "${source}")
