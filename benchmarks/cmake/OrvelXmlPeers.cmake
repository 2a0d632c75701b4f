# SPDX-License-Identifier: MIT
# Makes orvel_xml_peers available: pugixml, for wide strings, and tinyxml2, built from their sources
# with the flags of this build but without its warnings.
add_library(orvel_xml_peers STATIC
  "${ORVEL_PUGIXML_DIR}/src/pugixml.cpp"
  "${ORVEL_TINYXML2_DIR}/tinyxml2.cpp")
target_compile_definitions(orvel_xml_peers PUBLIC PUGIXML_WCHAR_MODE)
target_include_directories(orvel_xml_peers SYSTEM PUBLIC
  "${ORVEL_PUGIXML_DIR}/src" "${ORVEL_TINYXML2_DIR}")
