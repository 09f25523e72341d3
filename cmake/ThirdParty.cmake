# The libraries of others, as headers. A cross build takes those of this system, each library linked into the build
# folder by itself: the folder that they lie in is full of headers for this system, and must not reach a compiler for
# another one.
if(CMAKE_CROSSCOMPILING)
  function(stage_headers target folder header)
    find_path(NUVRUSB_HEADERS_${folder} ${folder}/${header} PATHS /usr/include /usr/local/include
      NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    set(staged ${PROJECT_BINARY_DIR}/headers/${folder})
    file(MAKE_DIRECTORY ${staged})
    file(CREATE_LINK ${NUVRUSB_HEADERS_${folder}}/${folder} ${staged}/${folder} SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED GLOBAL)
    target_include_directories(${target} SYSTEM INTERFACE ${staged})
  endfunction()
  stage_headers(nlohmann_json::nlohmann_json nlohmann json.hpp)
  stage_headers(fmt::fmt-header-only fmt core.h)
  target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY=1)
  stage_headers(CLI11::CLI11 CLI CLI.hpp)
else()
  find_package(nlohmann_json 3.11 REQUIRED)
  find_package(fmt 9 REQUIRED)
  find_package(CLI11 2.1 REQUIRED)
endif()

# {fmt}, with its own code compiled once where it is known which that is: header-only it takes three seconds of every
# file that formats.
get_target_property(fmt_headers fmt::fmt-header-only INTERFACE_INCLUDE_DIRECTORIES)
find_file(NUVRUSB_FMT_CORE fmt/core.h PATHS ${fmt_headers} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(STRINGS ${NUVRUSB_FMT_CORE} fmt_version REGEX "define FMT_VERSION (9|10)[0-9][0-9][0-9][0-9]$")
if(fmt_version)
  add_library(formatting STATIC ${CMAKE_CURRENT_LIST_DIR}/fmt.cpp)
  target_include_directories(formatting SYSTEM PUBLIC ${fmt_headers})
else()
  add_library(formatting INTERFACE)
  target_link_libraries(formatting INTERFACE fmt::fmt-header-only)
endif()
