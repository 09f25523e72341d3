# The libraries of others, header-only. A cross build takes the headers of this system, each library linked into the
# build folder by itself: the folder that they lie in is full of headers for this system, and must not reach a compiler
# for another one.
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
