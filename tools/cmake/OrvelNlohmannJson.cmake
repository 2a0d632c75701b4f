# SPDX-License-Identifier: MIT
# Makes the target orvel_nlohmann_json available: the headers of nlohmann/json, which tools write
# JSON with.
#
# ORVEL_NLOHMANN_JSON_DIR names the folder that holds nlohmann/json.hpp. Without it the sources are
# fetched on Windows.

set(orvelNlohmannJsonDefault "")
if(NOT CMAKE_HOST_WIN32 AND EXISTS /usr/include/nlohmann/json.hpp)
  set(orvelNlohmannJsonDefault /usr/include)
endif()
set(ORVEL_NLOHMANN_JSON_DIR "${orvelNlohmannJsonDefault}" CACHE PATH
  "Folder that holds nlohmann/json.hpp")

set(orvelNlohmannJsonInclude "${CMAKE_CURRENT_BINARY_DIR}/nlohmann_json")
if(ORVEL_NLOHMANN_JSON_DIR)
  # A copy, because a folder of the build machine's headers must not be searched for Windows.
  file(COPY "${ORVEL_NLOHMANN_JSON_DIR}/nlohmann" DESTINATION "${orvelNlohmannJsonInclude}")
elseif(CMAKE_HOST_WIN32)
  include(FetchContent)
  FetchContent_Declare(orvel_nlohmann_json_sources
    URL https://github.com/nlohmann/json/archive/v3.11.2.tar.gz
    URL_HASH SHA256=d69f9deb6a75e2580465c6c4c5111b89c4dc2fa94e3a85fcd2ffcd9a143d9273
    SOURCE_SUBDIR include)  # where no build file is: the headers are all that is needed
  FetchContent_MakeAvailable(orvel_nlohmann_json_sources)
  set(orvelNlohmannJsonInclude "${orvel_nlohmann_json_sources_SOURCE_DIR}/include")
else()
  message(FATAL_ERROR
    "The headers of nlohmann/json were not found. Install the package nlohmann-json3-dev, name "
    "the folder that holds nlohmann/json.hpp in ORVEL_NLOHMANN_JSON_DIR, or set ORVEL_BUILD_TOOLS "
    "to OFF.")
endif()

add_library(orvel_nlohmann_json INTERFACE)
# SYSTEM keeps our warnings away from the headers.
target_include_directories(orvel_nlohmann_json SYSTEM INTERFACE "${orvelNlohmannJsonInclude}")
