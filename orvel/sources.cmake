# SPDX-License-Identifier: MIT
# The library's own sources by folder, relative to this one: the public headers are in CMakeLists.txt.
# Those of a list ...WindowsSources need Windows itself; the others also build for Linux, on the
# stand-in in tests/native.

# platform: compiler differences and the system's headers; needs nothing
set(orvelPlatformSources
  platform/clocks.cpp
  platform/critical_section.cpp
  platform/kernel_handle.cpp
  platform/kernel_thread.cpp
  platform/kernel_thread.h
  platform/kernel_wait.cpp
  platform/misuse.cpp
  platform/misuse.h
  platform/wide_copy.h
  platform/wide_search.h
  platform/windows_api.h)
set(orvelPlatformWindowsSources
  platform/c_locale.cpp
  platform/c_locale.h
  platform/com_apartment.cpp
  platform/com_apartment.h
  platform/crash_hooks.cpp
  platform/crash_hooks.h
  platform/crash_stack.cpp
  platform/crash_stack.h
  platform/debugger_thread_name.cpp
  platform/debugger_thread_name.h
  platform/kernel_timer.cpp
  platform/kernel_timer.h
  platform/mini_dump.cpp
  platform/mini_dump.h
  platform/process_threads.cpp
  platform/process_threads.h
  platform/registry_key.cpp
  platform/registry_key.h
  platform/system_message.cpp
  platform/system_message.h
  platform/system_paths.cpp
  platform/system_paths.h
  platform/unique_handle.cpp
  platform/whole_file.cpp
  platform/whole_file.h)

# logging: the flow logger, its adapter and the registry of names; needs platform
set(orvelLoggingSources
  logging/event_ring.cpp
  logging/flow_dump_writer.cpp
  logging/flow_dump_writer.h
  logging/flow_logger_implementation.cpp
  logging/flow_trace.cpp
  logging/klogger_adapter.cpp
  logging/process_logger.h)

# foundation: class records, errors, exceptions, the number locale, time parsing, UTF-8; needs
# logging
set(orvelFoundationSources
  foundation/decimal_text.h
  foundation/dismissed_error.h
  foundation/dyn_object.cpp
  foundation/error.cpp
  foundation/error_chain.cpp
  foundation/error_chain_xml.cpp
  foundation/exception.cpp
  foundation/foreign_error.h
  foundation/locale.cpp
  foundation/number_text.cpp
  foundation/number_text.h
  foundation/system_error.cpp
  foundation/time_parsing.cpp
  foundation/utf8.cpp
  foundation/utf8.h)

# threads: mutex, scoped lock, guards, functors, the queue, the engine thread; needs foundation
set(orvelThreadsSources
  threads/engine_thread.cpp
  threads/event_operations.cpp
  threads/event_operations.h
  threads/generic_guard.cpp
  threads/mutex_win_imp.cpp
  threads/thread_safe_fifo.cpp
  threads/worker_failure.cpp
  threads/worker_failure.h)
set(orvelThreadsWindowsSources
  threads/waitable_timer.cpp)

# commands: the command processor, synchronous commands, schedulers; needs threads
set(orvelCommandsSources
  commands/abort_protocol.cpp
  commands/command_processor.cpp
  commands/command_synchronous.cpp
  commands/completion_pool.cpp
  commands/completion_pool.h
  commands/desync_event_scheduler.cpp
  commands/run_on_processor.cpp
  commands/scheduler_thread.cpp)

# diagnostics: crash reports, handlers of errors that have no caller; needs threads
set(orvelDiagnosticsSources
  diagnostics/error_handlers.cpp
  diagnostics/handler_list.h)
set(orvelDiagnosticsWindowsSources
  diagnostics/crash_file.cpp
  diagnostics/crash_file.h
  diagnostics/crash_handler.cpp
  diagnostics/crash_handler_list.h
  diagnostics/crash_report_folder.cpp
  diagnostics/crash_report_folder.h
  diagnostics/crash_reporter.cpp
  diagnostics/crash_reporter_state.cpp
  diagnostics/crash_reporter_state.h
  diagnostics/crash_writer.cpp
  diagnostics/crash_writer.h)

# filers/xml: the XML document; needs foundation
set(orvelXmlSources
  filers/xml/document/xml_document.cpp
  filers/xml/document/xml_document_adding.cpp
  filers/xml/document/xml_document_attributes.cpp
  filers/xml/document/xml_document_changing.cpp
  filers/xml/document/xml_document_reading.cpp
  filers/xml/document/xml_element.cpp
  filers/xml/document/xml_escape.cpp
  filers/xml/document/xml_escape.h
  filers/xml/document/xml_failure.cpp
  filers/xml/document/xml_insertion.cpp
  filers/xml/document/xml_insertion.h
  filers/xml/document/xml_markup.h
  filers/xml/parse/xml_attribute_scanner.cpp
  filers/xml/parse/xml_attribute_scanner.h
  filers/xml/parse/xml_open_names.cpp
  filers/xml/parse/xml_open_names.h
  filers/xml/parse/xml_parser.cpp
  filers/xml/parse/xml_parser.h
  filers/xml/parse/xml_scanner.cpp
  filers/xml/parse/xml_scanner.h
  filers/xml/store/wide_buffer.cpp
  filers/xml/store/wide_buffer.h
  filers/xml/store/xml_characters.h
  filers/xml/store/xml_elements.h
  filers/xml/store/xml_index.cpp
  filers/xml/store/xml_index.h
  filers/xml/store/xml_name_hash.cpp
  filers/xml/store/xml_name_hash.h
  filers/xml/store/xml_names.cpp
  filers/xml/store/xml_names.h
  filers/xml/store/xml_store.h
  filers/xml/store/xml_tag_lookup.cpp
  filers/xml/store/xml_tag_lookup.h
  filers/xml/store/xml_text.cpp
  filers/xml/store/xml_text.h)
set(orvelXmlWindowsSources
  filers/xml/document/xml_document_file.cpp)

# filers: tagged values in XML and in the registry; needs filers/xml
set(orvelFilersSources
  filers/in_filer_tagged_xml.cpp
  filers/out_filer_tagged_xml.cpp
  filers/section_balance.cpp
  filers/tagged_section.cpp
  filers/tagged_values.cpp
  filers/xml_filer_format.cpp
  filers/xml_filer_format.h)
set(orvelFilersWindowsSources
  filers/filer_tagged_registry_base.cpp
  filers/in_filer_tagged_registry.cpp
  filers/out_filer_tagged_registry.cpp)
