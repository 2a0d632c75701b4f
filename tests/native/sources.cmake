# SPDX-License-Identifier: MIT
# The library's sources that also build for Linux, for the tests here and the fuzz targets. Each list
# needs those before it.
get_filename_component(orvelRoot "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
set(orvelNative "${CMAKE_CURRENT_LIST_DIR}")

# The XML document: needs nothing of the system but files.
set(orvelXmlSources
  ${orvelRoot}/orvel/foundation/utf8.cpp
  ${orvelRoot}/orvel/filers/xml/store/wide_buffer.cpp
  ${orvelRoot}/orvel/filers/xml/document/xml_document.cpp
  ${orvelRoot}/orvel/filers/xml/document/xml_document_edit.cpp
  ${orvelRoot}/orvel/filers/xml/document/xml_element.cpp
  ${orvelRoot}/orvel/filers/xml/document/xml_escape.cpp
  ${orvelRoot}/orvel/filers/xml/store/xml_index.cpp
  ${orvelRoot}/orvel/filers/xml/store/xml_name_hash.cpp
  ${orvelRoot}/orvel/filers/xml/parse/xml_open_names.cpp
  ${orvelRoot}/orvel/filers/xml/parse/xml_parser.cpp
  ${orvelRoot}/orvel/filers/xml/parse/xml_scanner.cpp
  ${orvelRoot}/orvel/filers/xml/store/xml_tag_lookup.cpp
  ${orvelRoot}/orvel/filers/xml/store/xml_text.cpp)

# The flow logger, and the stand-in for the system's calls below it.
set(orvelLoggingSources
  ${orvelRoot}/orvel/logging/event_ring.cpp
  ${orvelRoot}/orvel/logging/flow_logger_implementation.cpp
  ${orvelRoot}/orvel/logging/flow_trace.cpp
  ${orvelRoot}/orvel/logging/klogger_adapter.cpp
  ${orvelRoot}/orvel/platform/clocks.cpp
  ${orvelRoot}/orvel/platform/critical_section.cpp
  ${orvelRoot}/orvel/platform/kernel_handle.cpp
  ${orvelRoot}/orvel/platform/misuse.cpp
  ${orvelNative}/left_out.cpp
  ${orvelNative}/stand_in/stand_in.cpp)

# Tagged values in XML, and errors.
set(orvelTaggedSources
  ${orvelRoot}/orvel/filers/in_filer_tagged.cpp
  ${orvelRoot}/orvel/filers/in_filer_tagged_xml.cpp
  ${orvelRoot}/orvel/filers/out_filer_tagged_xml.cpp
  ${orvelRoot}/orvel/filers/section_balance.cpp
  ${orvelRoot}/orvel/filers/tagged_section.cpp
  ${orvelRoot}/orvel/filers/tagged_values.cpp
  ${orvelRoot}/orvel/filers/xml/document/xml_failure.cpp
  ${orvelRoot}/orvel/filers/xml_filer_format.cpp
  ${orvelRoot}/orvel/foundation/dyn_object.cpp
  ${orvelRoot}/orvel/foundation/error.cpp
  ${orvelRoot}/orvel/foundation/error_chain.cpp
  ${orvelRoot}/orvel/foundation/exception.cpp
  ${orvelRoot}/orvel/foundation/locale.cpp
  ${orvelRoot}/orvel/foundation/number_text.cpp
  ${orvelRoot}/orvel/foundation/system_error.cpp)
